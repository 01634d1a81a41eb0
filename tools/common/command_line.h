// What the tools' command lines have in common, for the files that call the parser: help and the version.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace kova {

inline void addVersionOption(CLI::App &program) {
  program.set_version_flag("--version", program.get_name() + " " KOVA_VERSION, "Print the version and exit");
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
