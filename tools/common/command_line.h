// What the tools' command lines have in common: subcommands with options of their own, help and the version.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace kova {

// Adds a subcommand to the program, or to another subcommand. When the user names it, parsing sets `chosen` to a call
// of `run`. The caller adds the options to the subcommand that is returned; they live as long as it and `chosen`.
template <class Result, class Options>
std::pair<CLI::App *, Options &> addCommand(CLI::App &parent, std::function<Result()> &chosen, const char *name,
                                            const char *help, Result (*run)(const Options &)) {
  CLI::App *command = parent.add_subcommand(name, help);
  const auto options = std::make_shared<Options>();
  command->callback([&chosen, options, run] { chosen = [options, run] { return run(*options); }; });
  return {command, *options};
}

// The same for a subcommand without options.
template <class Result>
void addCommand(CLI::App &parent, std::function<Result()> &chosen, const char *name, const char *help,
                Result (*run)()) {
  parent.add_subcommand(name, help)->callback([&chosen, run] { chosen = run; });
}

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
