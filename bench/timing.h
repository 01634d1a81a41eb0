// Timing in turns: the contenders run one after the other, many times, so that a slow moment of the machine affects all
// of them.
#pragma once

#include <functional>
#include <vector>

namespace bench {

struct Contender {
  std::function<void()> work;
  unsigned batch = 1;                  // how often the work runs in one sample
  std::function<void()> prepare = {};  // before each sample, not timed
};

// The times of one run of each contender's work, in nanoseconds: a list for each contender, with one time for each
// sample.
std::vector<std::vector<double>> sampleTimes(const std::vector<Contender> &contenders, unsigned samples);

double medianOf(std::vector<double> samples);

// The medians of these times.
std::vector<double> medianTimes(const std::vector<Contender> &contenders, unsigned samples);

}  // namespace bench
