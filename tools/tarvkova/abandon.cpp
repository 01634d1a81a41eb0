#include <kova/error.h>
#include <kova/unify.h>

#include <string>
#include <vector>

#include "tarvkova/accounts_in_use.h"
#include "tarvkova/commands.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/spinner.h"

namespace kova::cli {
namespace {

struct Options {
  std::vector<std::string> names;
  bool all = false;
  bool yes = false;
};

// The accounts of the scan that the names mean. Throws Failure for a name that no service uses.
Json::Value chooseAccounts(const Json::Value &accounts, const std::vector<std::string> &names) {
  Json::Value chosen(Json::objectValue);
  for (const std::string &name : names) {
    bool isFound = false;
    for (const std::string &account : accounts.getMemberNames()) {
      if (!isSameAccount(name, account)) continue;
      chosen[account] = accounts[account];
      isFound = true;
    }
    if (!isFound) throw localFailure("no service of this device uses the account " + name);
  }
  return chosen;
}

Report abandon(const Options &options) {
  if (options.all != options.names.empty()) throw usageFailure("name accounts, or give --all");
  const Json::Value existing = scanAccounts();
  const Json::Value accounts = options.all ? existing : chooseAccounts(existing, options.names);
  const Json::Value names = accountNames(accounts);
  if (!names.empty()) {
    if (!options.yes) confirmAbandoning(accounts);
    if (callWithSpinner([&] { return TARVKOVAAbandonUnmerged(names); }) < 0) {
      throw TARVKOVAErrGet() == KOVA_ERR_SYSTEM ? libraryFailure()
                                                : localFailure("the hooks that tell the services cannot be run");
    }
  }
  Report report;
  report.result["abandoned"] = names;
  report.result["services"] = serviceTypes(accounts);
  report.text = names.empty() ? "No service of this device uses an account.\n"
                              : "The services of these accounts are to let go of them:\n" + accountTable(accounts);
  return report;
}

}  // namespace

void addAbandon(Command program, ChosenCommand &chosen) {
  const auto [command, options] =
      addCommand(program, chosen, "abandon", "Have the services of this device let go of accounts", abandon);
  command.addOption("NAME", options.names, "Accounts, as \"tarvkova accounts\" names them");
  command.addFlag("--all", options.all, "All accounts that the services use");
  command.addFlag("--yes", options.yes, "Do not ask");
}

}  // namespace kova::cli
