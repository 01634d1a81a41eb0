// What a mistyped word may have meant.
#pragma once

#include <string>
#include <vector>

namespace kova::cli {

// The candidate that differs least from the word, by letters that are missing, added, other or exchanged with their
// neighbours; empty where all of them differ too much.
std::string closestTo(const std::string &word, const std::vector<std::string> &candidates);

}  // namespace kova::cli
