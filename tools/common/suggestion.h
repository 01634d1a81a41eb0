// What a mistyped word may have meant.
#pragma once

#include <string>
#include <vector>

namespace kova {

// The end of a message on an unknown word: the candidate that differs little enough to have been meant, as a question;
// empty where there is none.
std::string suggestionFor(const std::string &word, const std::vector<std::string> &candidates);

}  // namespace kova
