#include <kova/error.h>
#include <kova/unify.h>

#include <optional>
#include <set>
#include <string>
#include <vector>

#include "base/json.h"
#include "common/terminal_text.h"
#include "tarvkova/accounts_in_use.h"
#include "tarvkova/commands.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/spinner.h"

namespace kova::cli {
namespace {

struct Options {
  std::string mainAccount;
  std::vector<std::string> merged;
  std::string passwords;
  bool dryRun = false;
  bool yes = false;
};

// A JSON value with passwords in it, wiped after use.
struct SecretJson {
  SecretJson() = default;
  SecretJson(const SecretJson &) = delete;
  SecretJson &operator=(const SecretJson &) = delete;
  ~SecretJson() { wipe(value); }

  Json::Value value;
};

// The passwords: from the file or, where none was named, from the user in the order in which they are needed here.
class Passwords {
 public:
  explicit Passwords(const std::string &file) {
    if (file.empty()) {
      source_.emplace(file);
    } else if (!parseJsonObject(known_.value, SecretSource(file).readAll().text())) {
      throw localFailure("the passwords are not a JSON object of e-mail addresses and passwords");
    }
  }

  Secret passwordOf(const std::string &email) {
    if (source_) return source_->ask("Password of " + email);
    const Json::Value &password = known_.value[email];
    if (!password.isString()) throw localFailure("no password was given for " + email);
    Secret secret;
    const char *begin = nullptr;
    const char *end = nullptr;
    for (password.getString(&begin, &end); begin != end; ++begin) {
      if (*begin == '\0' || !secret.append(*begin)) throw localFailure("this cannot be the password of " + email);
    }
    return secret;
  }

 private:
  std::optional<SecretSource> source_;
  SecretJson known_;
};

// The accounts that the library will abandon: those that are neither merged nor the main account. The library compares
// the names as the services give them.
Json::Value unmergedAccounts(const Options &options) {
  Json::Value accounts = scanAccounts();
  accounts.removeMember(options.mainAccount);
  for (const std::string &email : options.merged) accounts.removeMember(email);
  return accounts;
}

// Fills the merge list and returns the main account's password. Where nothing is merged, no password is needed.
Secret collectPasswords(const Options &options, Json::Value &list) {
  list = Json::Value(Json::arrayValue);
  if (options.merged.empty()) return Secret();
  Passwords passwords(options.passwords);
  Secret mainPassword = passwords.passwordOf(options.mainAccount);
  for (const std::string &email : options.merged) {
    const Secret password = passwords.passwordOf(email);
    Json::Value &element = list.append(Json::objectValue);
    element["email"] = email;
    element["passwd"] = password.c_str();
  }
  return mainPassword;
}

void merge(const Options &options, const Secret &password, const Json::Value &list) {
  const int result =
      callWithSpinner([&] { return TARVKOVAAccountMigrate(options.mainAccount.c_str(), password.c_str(), list); });
  if (result == 0) return;
  const Failure failure = libraryFailure(kPasswordRefused);
  if (failure.code != KOVA_ERR_STORE) throw failure;
  throw notMarkedFailure(options.merged.empty()
                             ? "this device could not be marked as unified"
                             : "the accounts are merged, but this device could not be marked as unified");
}

std::string reportText(const Options &options, const Json::Value &abandoned) {
  const std::string oneIs = options.dryRun ? " would be " : " is ";
  const std::string severalAre = options.dryRun ? " would be " : " are ";
  std::string text;
  for (const std::string &email : options.merged) {
    text += printable(email) + oneIs + "merged into " + printable(options.mainAccount) + ".\n";
  }
  if (options.merged.empty()) text += "No accounts" + severalAre + "merged.\n";
  if (abandoned.empty()) return text + "No accounts" + severalAre + "abandoned.\n";
  text += abandoned.size() == 1 ? "This account" + oneIs + "abandoned (its services"
                                : "These accounts" + severalAre + "abandoned (their services";
  std::vector<std::string> kept = options.merged;
  kept.push_back(options.mainAccount);
  return text + " learn of it through hooks):\n" + accountTable(abandoned, kept);
}

Report migrate(const Options &options) {
  const std::set<std::string> all(options.merged.begin(), options.merged.end());
  if (all.size() < options.merged.size()) throw usageFailure("an account is to be merged twice");
  if (all.count(options.mainAccount) > 0) throw usageFailure("the main account cannot be merged into itself");
  // The passwords are read first: the scan starts programs that have the same standard input.
  SecretJson list;
  const Secret password = options.dryRun ? Secret() : collectPasswords(options, list.value);
  const Json::Value abandoned = unmergedAccounts(options);
  if (!options.dryRun) {
    // Where nothing is merged, the service does not check the main account either: the user has to confirm it.
    if (options.merged.empty() && !abandoned.empty() && !options.yes) confirmAbandoning(abandoned);
    merge(options, password, list.value);
  }
  Report report;
  report.text = reportText(options, abandoned);
  report.result["dry_run"] = options.dryRun;
  report.result["main"] = options.mainAccount;
  report.result["merged"] = Json::Value(Json::arrayValue);
  for (const std::string &email : options.merged) report.result["merged"].append(email);
  report.result["abandoned"] = accountNames(abandoned);
  report.result["services"] = serviceTypes(abandoned);
  return report;
}

}  // namespace

void addMigrate(Command program, ChosenCommand &chosen) {
  const auto [command, options] =
      addCommand(program, chosen, "migrate", "Merge accounts into one; abandon what else the services use", migrate);
  command.addOption("MAIN", options.mainAccount, "E-mail address of the account that stays")
      .required()
      .check(checkAccountName);
  command.addOption("--merge", options.merged, "E-mail address of an account that is merged into it; may be repeated")
      .check(checkAccountName);
  command
      .addOption("--passwords", options.passwords,
                 "Read the passwords from this file, a JSON object {\"EMAIL\": \"PASSWORD\", ...}; \"-\" is standard "
                 "input")
      .typeName("FILE")
      .check(checkName);
  command.setFooter(kPasswordHelp);
  command.addFlag("--dry-run", options.dryRun, "Only show what would be merged and abandoned; sends nothing");
  command.addFlag("--yes", options.yes, "Do not ask before accounts are abandoned where none is merged");
}

}  // namespace kova::cli
