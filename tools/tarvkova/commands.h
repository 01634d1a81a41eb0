// The subcommands. Each function adds one to the program; when the user names it, parsing sets `chosen`.
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "common/command_line.h"
#include "tarvkova/outcome.h"
#include "tarvkova/values.h"

namespace kova::cli {

// A call of the command that the user named; empty without one.
using ChosenCommand = std::function<Report()>;

// An option as the library takes it: null when it was not given.
inline const char *textOrNull(const std::optional<std::string> &option) {
  return option ? option->c_str() : nullptr;
}

// Adds an option that takes one value each time it is given.
inline CLI::Option *addRepeatableOption(CLI::App &command, const char *name, std::vector<std::string> &values,
                                        const char *help) {
  return command.add_option(name, values, help)->allow_extra_args(false);
}

// Adds the positional argument that names an account.
inline void addEmail(CLI::App &command, std::string &email) {
  command.add_option("EMAIL", email, "The account's e-mail address")->type_name("")->required()->check(checkEmail);
}

void addCheck(CLI::App &program, ChosenCommand &chosen);
void addLogin(CLI::App &program, ChosenCommand &chosen);
void addLogout(CLI::App &program, ChosenCommand &chosen);
void addStatus(CLI::App &program, ChosenCommand &chosen);
void addSet(CLI::App &program, ChosenCommand &chosen);
void addPasswd(CLI::App &program, ChosenCommand &chosen);
void addRegister(CLI::App &program, ChosenCommand &chosen);
void addServices(CLI::App &program, ChosenCommand &chosen);
void addPurchases(CLI::App &program, ChosenCommand &chosen);
void addAccounts(CLI::App &program, ChosenCommand &chosen);
void addUnify(CLI::App &program, ChosenCommand &chosen);
void addMigrate(CLI::App &program, ChosenCommand &chosen);
void addAbandon(CLI::App &program, ChosenCommand &chosen);
void addDoctor(CLI::App &program, ChosenCommand &chosen);

}  // namespace kova::cli
