#include <kova/error.h>
#include <kova/platform.h>
#include <kova/session.h>
#include <strings.h>

#include <cstring>
#include <string>

#include "common/terminal_text.h"
#include "tarvkova/accounts_in_use.h"
#include "tarvkova/commands.h"
#include "tarvkova/device_files.h"
#include "tarvkova/display_text.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/refresh.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

bool hasSameAuthKey(const StoredAccount &one, const StoredAccount &other) {
  return one && other && std::strcmp(one->vx_auth_key, other->vx_auth_key) == 0;
}

// The account that this device is signed in to now; empty when that is not known. The library also settles on an
// account for which the service gave no auth key: then the device has none, or still that of another account.
std::string findSignedInAccount(const std::string &name, const StoredAccount &before, Report &report) {
  Json::Value profile;
  const int result = callWithSpinner([&] { return TARVKOVAAccountQueryInfo(profile, true, true); });
  const int code = TARVKOVAErrGet();
  if (result < 0 && code == KOVA_ERR_ACCOUNT_GET) {
    throw notSignedInFailure("the service accepts this device for " + name +
                             ", but gave it no key that works; see \"tarvkova login\"");
  }
  addRefreshNotes(report, code);
  const bool hasNewKey = !hasSameAuthKey(before, readStoredAccount());
  if (result < 0) return hasNewKey ? name : "";
  std::string account = displayText(profile["email"]);
  if (!hasNewKey && strcasecmp(account.c_str(), name.c_str()) != 0) {
    report.notes.push_back("the services use " + name + ", for which the service gave no key");
  }
  return account;
}

Report unify() {
  const bool isMarked = TLIBCFileCheckKeyValue(kInformationFile, "kova_unified", "yes", 0) == 1;
  if (!isMarked) requireReadableSources();  // else the library does not scan
  const StoredAccount before = findStoredAccount();
  Json::Value accounts;
  const int result = callWithSpinner([&] { return TARVKOVAAccountIsUnified(accounts); });
  if (result < 0 && TARVKOVAErrGet() == KOVA_SUCCESS && accounts.size() > 1) {
    Failure failure(ExitCode::kLocal, 0, "several_accounts",
                    "the services of this device use " + std::to_string(accounts.size()) +
                        " accounts; see \"tarvkova accounts\", merge them with \"tarvkova migrate\"");
    failure.result["accounts"] = accounts;
    throw failure;
  }
  if (result < 0) throw libraryFailure();
  if (TARVKOVAErrGet() == KOVA_ERR_STORE) {
    throw notMarkedFailure("this device could not be marked as unified");
  }
  Report report;
  if (accounts.isNull()) {
    report.text = before ? "This device is unified.\n" : "This device is unified; sign in with \"tarvkova login\".\n";
  } else if (accounts.empty()) {
    report.text = "This device is unified: no service of it uses an account.\n";
  } else {
    const std::string name(withoutTrailingSpace(accounts.getMemberNames().front()));
    const std::string account = findSignedInAccount(name, before, report);
    report.text =
        "This device is unified" + (account.empty() ? "" : ", and signed in as " + printable(account)) + ".\n";
    if (!account.empty()) report.result["signed_in"] = account;
  }
  return report;
}

}  // namespace

void addUnify(Command program, ChosenCommand &chosen) {
  addCommand(program, chosen, "unify", "Settle on the one account that the services use; signs in to it", unify);
}

}  // namespace kova::cli
