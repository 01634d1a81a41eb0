// The subcommands. Each function adds one to the program; when the user names it, parsing sets `chosen`.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "common/arguments.h"
#include "tarvkova/outcome.h"
#include "tarvkova/values.h"

namespace kova::cli {

// A call of the command that the user named; empty without one.
using ChosenCommand = std::function<Report()>;

// An option as the library takes it: null when it was not given.
inline const char *textOrNull(const std::optional<std::string> &option) {
  return option ? option->c_str() : nullptr;
}

// Adds the positional argument that names an account.
inline void addEmail(Command command, std::string &email) {
  command.addOption("EMAIL", email, "The account's e-mail address").typeName("").required().check(checkEmail);
}

void addCheck(Command program, ChosenCommand &chosen);
void addLogin(Command program, ChosenCommand &chosen);
void addLogout(Command program, ChosenCommand &chosen);
void addStatus(Command program, ChosenCommand &chosen);
void addSet(Command program, ChosenCommand &chosen);
void addPasswd(Command program, ChosenCommand &chosen);
void addRegister(Command program, ChosenCommand &chosen);
void addServices(Command program, ChosenCommand &chosen);
void addPurchases(Command program, ChosenCommand &chosen);
void addAccounts(Command program, ChosenCommand &chosen);
void addUnify(Command program, ChosenCommand &chosen);
void addMigrate(Command program, ChosenCommand &chosen);
void addAbandon(Command program, ChosenCommand &chosen);
void addDoctor(Command program, ChosenCommand &chosen);

}  // namespace kova::cli
