#include <kova/error.h>
#include <kova/session.h>
#include <strings.h>

#include <string>

#include "common/terminal_text.h"
#include "tarvkova/commands.h"
#include "tarvkova/device_files.h"
#include "tarvkova/display_text.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/refresh.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

struct Options {
  std::string email;
  std::string passwordFile;
};

// Whether the device stores the reply's keys. Where the reply lacks them, those of an earlier account stay stored.
bool hasStoredKeys(const Json::Value &reply) {
  const StoredAccount account = readStoredAccount();
  return account && displayText(reply["kova_id"]) == account->kovaIDSerial &&
         displayText(reply["auth_key"]) == account->vx_auth_key;
}

// The account that signing in as `email` replaces; empty without one.
std::string findReplacedAccount(const std::string &email, Report &report) {
  try {
    const StoredAccount account = findStoredAccount();
    if (!account || strcasecmp(account->kovaID, email.c_str()) == 0) return "";
    return account->kovaID[0] != '\0' ? account->kovaID : "another account";
  } catch (const Failure &failure) {
    if (failure.name != kAccountDamaged) throw;
    report.notes.emplace_back("the account stored before was damaged");
    return "";
  }
}

Report login(const Options &options) {
  Report report;
  const std::string replaced = findReplacedAccount(options.email, report);
  const Secret password = SecretSource(options.passwordFile).ask("Password of " + options.email);
  Json::Value reply;
  const int result =
      callWithSpinner([&] { return TARVKOVAAccountLogin(options.email.c_str(), password.c_str(), reply, false); });
  if (result < 0) throw withReply(libraryFailure(kPasswordRefused), reply);
  const int refresh = TARVKOVAErrGet();
  // The library also succeeds when the reply has no keys, and when the service refuses them at once.
  if (refresh == KOVA_ERR_ACCOUNT_GET || !hasStoredKeys(reply)) {
    throw withReply(
        notSignedInFailure("the service accepts the password, but gave this device no key that works; it is not "
                           "signed in as " +
                           options.email),
        reply);
  }
  report.result["email"] = options.email;
  report.result["reply"] = withoutKeys(reply);
  report.text = "Signed in as " + printable(options.email) +
                (replaced.empty() ? "" : ", in place of " + printable(replaced)) + ".\n";
  if (!replaced.empty()) report.result["replaced"] = replaced;
  if (!isReportDisabled() && !isReportScheduled()) {
    const std::string obstacle = writeObstacle(kScheduleFile);
    if (!obstacle.empty()) report.notes.push_back("the weekly report is not scheduled: " + obstacle);
  }
  addRefreshNotes(report, refresh);
  return report;
}

}  // namespace

void addLogin(Command program, ChosenCommand &chosen) {
  const auto [command, options] = addCommand(program, chosen, "login", "Sign this device in to an account", login);
  addEmail(command, options.email);
  addPasswordFile(command, options.passwordFile);
}

}  // namespace kova::cli
