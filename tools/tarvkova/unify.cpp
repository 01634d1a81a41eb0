#include <kova/error.h>
#include <kova/session.h>

#include <cstring>

#include "commands.h"
#include "refresh.h"
#include "services_in_use.h"
#include "stored_account.h"
#include "text.h"
#include "waiting.h"

namespace kova::cli {
namespace {

bool sameKey(const StoredAccount &one, const StoredAccount &other) {
  return one && other && std::strcmp(one->vx_auth_key, other->vx_auth_key) == 0;
}

// Fetches the profile of the account just signed in to. The library settles also on an account for which the service
// gave no key: then this device has none, or still that of another account.
void refreshAs(const std::string &name, const StoredAccount &before, Report &report) {
  Json::Value profile;
  const int result = whileWaiting([&] { return TARVKOVAAccountQueryInfo(profile, true, true); });
  const int code = TARVKOVAErrGet();
  const bool isAnother = result == 0 && sameKey(before, findStoredAccount()) && textOf(profile["email"]) != name;
  if (isAnother || (result < 0 && code == KOVA_ERR_ACCOUNT_GET)) {
    throw notSignedIn("the service accepts this device for " + name +
                      ", but gave it no key that works; it is not signed in as that, see \"tarvkova login\"");
  }
  noteRefresh(report, code);
}

Report unify() {
  const StoredAccount before = findStoredAccount();
  Json::Value accounts;
  const int result = whileWaiting([&] { return TARVKOVAAccountIsUnified(accounts); });
  if (result < 0 && TARVKOVAErrGet() == KOVA_SUCCESS && accounts.size() > 1) {
    Failure failure(Exit::local, 0, "several_accounts",
                    "the services of this device use " + std::to_string(accounts.size()) +
                        " accounts; see \"tarvkova accounts\", merge them with \"tarvkova migrate\"");
    failure.result["accounts"] = accounts;
    throw failure;
  }
  if (result < 0) throw libraryFailure();
  Report report;
  if (TARVKOVAErrGet() == KOVA_ERR_STORE) report.notes.push_back("the device could not be marked as unified");
  if (accounts.isNull()) {
    report.text = "This device is unified.\n";
  } else if (accounts.empty()) {
    report.text = "This device is unified: no service of it uses an account.\n";
  } else {
    const std::string name(trimmed(accounts.getMemberNames().front()));
    refreshAs(name, before, report);
    report.result["signed_in"] = name;
    report.text = "This device is unified, and signed in as " + printable(name) + ".\n";
  }
  return report;
}

}  // namespace

void addUnify(CLI::App &program, Action &action) {
  CLI::App *command =
      program.add_subcommand("unify", "Settle on the one account that the services use; signs in to it");
  command->callback([&action] { action = unify; });
}

}  // namespace kova::cli
