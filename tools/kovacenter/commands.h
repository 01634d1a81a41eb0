// The subcommands. Each function adds some of them to the program; when the user names one, parsing sets `chosen`.
#pragma once

#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "common/arguments.h"
#include "common/command_line.h"
#include "kovacenter/exit_code.h"

namespace kova::center {

// A call of the command that the user named. It returns the exit code; wrong usage is thrown as CLI::ParseError.
using ChosenCommand = std::function<int()>;

struct StateOptions {
  std::string state;
};

struct AccountOptions : StateOptions {
  std::string email;
};

// Adds a command that works on the state of a service.
template <class Options>
std::pair<Command, Options &> addStateCommand(Command parent, ChosenCommand &chosen, const char *name, const char *help,
                                              int (*run)(const Options &)) {
  const auto [command, options] = addCommand(parent, chosen, name, help, run);
  command->add_option("--state", options.state, "Directory of the service's state; \"serve\" and \"run\" make it")
      ->type_name("DIR")
      ->required();
  return {command, options};
}

// Adds a command that works on an account.
template <class Options>
std::pair<Command, Options &> addAccountCommand(Command parent, ChosenCommand &chosen, const char *name,
                                                const char *help, int (*run)(const Options &)) {
  const auto [command, options] = addStateCommand(parent, chosen, name, help, run);
  command->add_option("EMAIL", options.email, "E-mail address of the account")->type_name("")->required();
  return {command, options};
}

// `words` is what follows a "--" in the arguments.
void addServiceCommands(CLI::App &program, ChosenCommand &chosen, const std::vector<std::string> &words);
void addDeviceCommand(CLI::App &program, ChosenCommand &chosen);
void addAccountCommands(CLI::App &program, ChosenCommand &chosen);
void addPurchaseCommands(CLI::App &program, ChosenCommand &chosen);
void addFaultCommands(CLI::App &program, ChosenCommand &chosen, const std::vector<std::string> &words);
void addJournalCommand(CLI::App &program, ChosenCommand &chosen);

// The whole command line: all of them, and what the program has itself.
inline void addCommands(CLI::App &program, ChosenCommand &chosen, const std::vector<std::string> &words) {
  program.name("kovacenter")->description("The account service for development, on the loopback only");
  program.require_subcommand(1)->footer(
      exitCodeList(kExitCodes) + "\n\"run\" ends with its command's exit code, or with 128 and the signal's number.");
  addVersionOption(program);
  addServiceCommands(program, chosen, words);
  addDeviceCommand(program, chosen);
  addAccountCommands(program, chosen);
  addPurchaseCommands(program, chosen);
  addFaultCommands(program, chosen, words);
  addJournalCommand(program, chosen);
}

}  // namespace kova::center
