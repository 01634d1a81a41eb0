#include "bench/timing.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <utility>

namespace bench {
namespace {

using Clock = std::chrono::steady_clock;

double timeOfOneRun(const Contender &contender) {
  if (contender.prepare) contender.prepare();
  const Clock::time_point start = Clock::now();
  for (unsigned run = 0; run < contender.batch; ++run) contender.work();
  const std::chrono::duration<double, std::nano> time = Clock::now() - start;
  return time.count() / contender.batch;
}

}  // namespace

std::vector<std::vector<double>> sampleTimes(const std::vector<Contender> &contenders, unsigned samples) {
  for (const Contender &contender : contenders) timeOfOneRun(contender);  // the first one warms up
  std::vector<std::vector<double>> times(contenders.size());
  for (unsigned sample = 0; sample < samples; ++sample) {
    for (std::size_t i = 0; i < contenders.size(); ++i) times[i].push_back(timeOfOneRun(contenders[i]));
  }
  return times;
}

double medianOf(std::vector<double> samples) {
  const auto middle = samples.begin() + static_cast<std::ptrdiff_t>(samples.size() / 2);
  std::ranges::nth_element(samples, middle);
  return *middle;
}

std::vector<double> medianTimes(const std::vector<Contender> &contenders, unsigned samples) {
  std::vector<double> medians;
  for (std::vector<double> &times : sampleTimes(contenders, samples)) medians.push_back(medianOf(std::move(times)));
  return medians;
}

}  // namespace bench
