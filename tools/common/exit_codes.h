// What the exit codes of a tool mean.
#pragma once

#include <string>

namespace kova {

template <class Code>
struct ExitCodeMeaning {
  Code code;
  const char *meaning;
};

// The exit codes, for the end of the help.
template <class Meanings>
std::string exitCodeList(const Meanings &meanings) {
  std::string list = "Exit codes:";
  for (const auto &exit : meanings) {
    const std::string code = std::to_string(static_cast<int>(exit.code));
    list += "\n  " + code + std::string(code.size() < 3 ? 3 - code.size() : 0, ' ') + "  " + exit.meaning;
  }
  return list;
}

}  // namespace kova
