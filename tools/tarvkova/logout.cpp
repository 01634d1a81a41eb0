#include <kova/error.h>
#include <kova/platform.h>
#include <kova/session.h>

#include "tarvkova/commands.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

// Removes the account file and the schedule that signing in made, without telling the service.
void removeAccountLocally() {
  const bool isRemoved = callWithSpinner(TARVKOVAAccountRemove) >= 0;
  if (!isRemoved) throw localFailure("a component of this device failed to sign out; nothing was changed");
  if (TARVScheduleRemove(KOVA_REPORT_COMMAND) < 0) {
    throw localFailure("signed out, but the weekly report is still scheduled");
  }
}

Report logout(const bool &local) {
  Report report;
  const bool wasSignedIn = findStoredAccount() != nullptr;
  report.result["was_signed_in"] = wasSignedIn;
  report.text = wasSignedIn ? "Signed out.\n" : "This device was not signed in.\n";
  if (local) {
    removeAccountLocally();
  } else {
    if (callWithSpinner(TARVKOVAAccountLogout) < 0) throw libraryFailure();
    const int refusal = TARVKOVAErrGet();
    if (wasSignedIn && refusal != KOVA_SUCCESS) {
      report.notes.push_back("signed out here, but the service did not agree: " + errorMeaning(refusal));
    }
  }
  // The library does not tell whether the account file is gone.
  if (findStoredAccount()) throw localFailure("the stored account could not be removed from this device");
  return report;
}

}  // namespace

void addLogout(CLI::App &program, ChosenCommand &chosen) {
  const auto [command, local] = addCommand(program, chosen, "logout", "Sign this device out", logout);
  command->add_flag("--local", local, "Forget the account here without telling the service");
}

}  // namespace kova::cli
