#include <kova/error.h>
#include <kova/unify.h>

#include <string>
#include <vector>

#include "tarvkova/commands.h"
#include "tarvkova/services_in_use.h"
#include "tarvkova/text.h"
#include "tarvkova/waiting.h"

namespace kova::cli {
namespace {

struct Options {
  std::vector<std::string> names;
  bool all = false;
  bool yes = false;
};

// The accounts of the scan that the names mean.
Json::Value chosen(const Json::Value &accounts, const std::vector<std::string> &names) {
  Json::Value chosen(Json::objectValue);
  for (const std::string &name : names) {
    bool found = false;
    for (const std::string &account : accounts.getMemberNames()) {
      if (!means(name, account)) continue;
      chosen[account] = accounts[account];
      found = true;
    }
    if (!found) throw localFailure("no service of this device uses the account " + name);
  }
  return chosen;
}

Report abandon(const Options &options) {
  if (options.all != options.names.empty()) throw usageFailure("name accounts, or give --all");
  const Json::Value existing = scanAccounts();
  const Json::Value accounts = options.all ? existing : chosen(existing, options.names);
  const Json::Value names = namesOf(accounts);
  if (!names.empty()) {
    if (!options.yes) confirmLettingGo(accounts);
    if (whileWaiting([&] { return TARVKOVAAbandonUnmerged(names); }) < 0) {
      throw TARVKOVAErrGet() == KOVA_ERR_SYSTEM ? libraryFailure()
                                                : localFailure("the hooks that tell the services cannot be run");
    }
  }
  Report report;
  report.result["abandoned"] = names;
  report.result["services"] = typesOf(accounts);
  report.text = names.empty() ? "No service of this device uses an account.\n"
                              : "The services of these accounts are told:\n" + tableOf(accounts);
  return report;
}

}  // namespace

void addAbandon(CLI::App &program, Action &action) {
  const auto [command, options] =
      addCommand(program, action, "abandon", "Have the services of this device let go of accounts", abandon);
  command->add_option("NAME", options.names, "Accounts, as \"tarvkova accounts\" names them");
  command->add_flag("--all", options.all, "All accounts that the services use");
  command->add_flag("--yes", options.yes, "Do not ask");
}

}  // namespace kova::cli
