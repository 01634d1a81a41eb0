#include <kova/error.h>
#include <kova/session.h>

#include "commands.h"
#include "services_in_use.h"
#include "stored_account.h"
#include "text.h"
#include "waiting.h"

namespace kova::cli {
namespace {

Report unify() {
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
    // The library settles also on an account for which the service gave no keys.
    if (!findStoredAccount()) {
      throw notSignedIn("the service accepts this device for " + name +
                        ", but gave it no key; it is not signed in, see \"tarvkova login\"");
    }
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
