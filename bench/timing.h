// Timing by turns: each contender in its turn, again and again, so that what slows the machine slows all of them.
#pragma once

#include <functional>
#include <vector>

namespace bench {

struct Contender {
  std::function<void()> work;
  unsigned batch = 1;                  // how often the work runs in one sample
  std::function<void()> prepare = {};  // before each sample, not timed
};

// The times of one run of each contender's work, in nanoseconds: a list for each, in which what stands at the same
// place was measured at about the same time.
std::vector<std::vector<double>> sampleTimes(const std::vector<Contender> &contenders, unsigned samples);

double medianOf(std::vector<double> samples);

// The medians of these times.
std::vector<double> medianTimes(const std::vector<Contender> &contenders, unsigned samples);

}  // namespace bench
