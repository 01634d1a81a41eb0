// The subcommands. Each function adds one to the program; when the user names it, parsing sets `action` to what it
// does.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tarvkova/outcome.h"

namespace kova::cli {

// An option that was not given, as the library takes it.
inline const char *orNull(const std::optional<std::string> &option) {
  return option ? option->c_str() : nullptr;
}

// Adds an option that takes one value each time it is given, as it stands.
inline void addList(CLI::App &command, const char *name, std::vector<std::string> &values, const char *help) {
  command.add_option(name, values, help)->allow_extra_args(false);
}

using Action = std::function<Report()>;

// Adds a subcommand that runs `run` on its options. These are the caller's to fill: they live as long as the callback.
template <class Options>
std::pair<CLI::App *, Options &> addCommand(CLI::App &program, Action &action, const char *name, const char *help,
                                            Report (*run)(const Options &)) {
  CLI::App *command = program.add_subcommand(name, help);
  const auto options = std::make_shared<Options>();
  command->callback([&action, options, run] { action = [options, run] { return run(*options); }; });
  return {command, *options};
}

void addCheck(CLI::App &program, Action &action);
void addLogin(CLI::App &program, Action &action);
void addLogout(CLI::App &program, Action &action);
void addStatus(CLI::App &program, Action &action);
void addSet(CLI::App &program, Action &action);
void addPasswd(CLI::App &program, Action &action);
void addRegister(CLI::App &program, Action &action);
void addServices(CLI::App &program, Action &action);
void addPurchases(CLI::App &program, Action &action);
void addAccounts(CLI::App &program, Action &action);
void addUnify(CLI::App &program, Action &action);
void addMigrate(CLI::App &program, Action &action);
void addAbandon(CLI::App &program, Action &action);

}  // namespace kova::cli
