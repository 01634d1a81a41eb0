// What the tools' command lines have in common, for the files that call the parser: help and the version.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace kova {

inline void addVersionOption(CLI::App &program) {
  program.set_version_flag("--version", program.get_name() + " " KOVA_VERSION, "Print the version and exit");
}

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

// Returns the text that the arguments ask for in place of a command, if they do: the help or the version. Wrong usage
// is thrown as CLI::ParseError.
inline std::optional<std::string> parseArguments(CLI::App &program, int argc, char **argv) {
  try {
    program.parse(argc, argv);
    return std::nullopt;
  } catch (const CLI::CallForHelp &) {
    return program.help();
  } catch (const CLI::CallForVersion &version) {
    return version.what() + std::string("\n");
  }
}

}  // namespace kova
