#include "common/suggestion.h"

#include <algorithm>
#include <cstddef>

namespace kova {
namespace {

std::size_t distanceBetween(const std::string &one, const std::string &other) {
  // distances[i][j] is that of the first i letters of the one from the first j letters of the other.
  std::vector<std::vector<std::size_t>> distances(one.size() + 1, std::vector<std::size_t>(other.size() + 1));
  for (std::size_t i = 0; i <= one.size(); ++i) {
    for (std::size_t j = 0; j <= other.size(); ++j) {
      std::size_t &distance = distances[i][j];
      if (i == 0 || j == 0) {
        distance = i + j;
        continue;
      }
      const std::size_t replaced = distances[i - 1][j - 1] + (one[i - 1] == other[j - 1] ? 0 : 1);
      distance = std::min({replaced, distances[i - 1][j] + 1, distances[i][j - 1] + 1});
      if (i > 1 && j > 1 && one[i - 1] == other[j - 2] && one[i - 2] == other[j - 1]) {
        distance = std::min(distance, distances[i - 2][j - 2] + 1);
      }
    }
  }
  return distances[one.size()][other.size()];
}

// The candidate that differs least from the word, by letters that are missing, added, other or exchanged with their
// neighbours; empty where all of them differ too much.
std::string closestTo(const std::string &word, const std::vector<std::string> &candidates) {
  constexpr std::size_t kLongest = 64;  // longer words are not typing mistakes
  std::string closest;
  std::size_t least = std::min<std::size_t>(3, (word.size() + 3) / 3);  // only what differs less than this
  if (word.size() > kLongest) return closest;
  for (const std::string &candidate : candidates) {
    const std::size_t distance = distanceBetween(word, candidate);
    if (distance >= least) continue;
    least = distance;
    closest = candidate;
  }
  return closest;
}

}  // namespace

std::string suggestionFor(const std::string &word, const std::vector<std::string> &candidates) {
  const std::string closest = closestTo(word, candidates);
  return closest.empty() ? "" : "; did you mean \"" + closest + "\"?";
}

}  // namespace kova
