#include <kova/error.h>
#include <kova/platform.h>
#include <kova/session.h>
#include <unistd.h>

#include <string>

#include "tarvkova/commands.h"
#include "tarvkova/device_files.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

const std::string kReportRemains = "the weekly report could not be taken off the schedule";

// The library does not tell whether the account file is gone.
void requireNoAccountFile() {
  if (access(devicePath(kAccountFile).c_str(), F_OK) == 0) {
    throw localFailure(withReason("the account is still stored on this device", removeObstacle(kAccountFile)));
  }
}

// Removes the account file and the schedule that signing in made, without telling the service.
void removeAccountLocally(bool wasSignedIn) {
  const bool isRemoved = callWithSpinner(TARVKOVAAccountRemove) >= 0;
  if (!isRemoved) throw localFailure("a component of this device failed to sign out; nothing was changed");
  requireNoAccountFile();
  if (TARVScheduleRemove(KOVA_REPORT_COMMAND) < 0 && isReportScheduled()) {
    throw localFailure(withReason(wasSignedIn ? "the account is removed, but " + kReportRemains : kReportRemains,
                                  writeObstacle(kScheduleFile)));
  }
}

// Whether there is an account to sign out of. A damaged one can only be forgotten here.
bool hasAccount(bool local) {
  try {
    return findStoredAccount() != nullptr;
  } catch (const Failure &failure) {
    if (failure.name != kAccountDamaged || !local) throw;
    return true;
  }
}

Report logout(const bool &local) {
  Report report;
  const bool wasSignedIn = hasAccount(local);
  report.result["was_signed_in"] = wasSignedIn;
  // The service would end a session that the device cannot forget.
  const std::string obstacle = wasSignedIn ? removeObstacle(kAccountFile) : "";
  if (!obstacle.empty()) throw localFailure(obstacle);
  report.text = wasSignedIn ? "Signed out.\n" : "This device was not signed in.\n";
  if (local) {
    removeAccountLocally(wasSignedIn);
  } else {
    if (callWithSpinner(TARVKOVAAccountLogout) < 0) throw libraryFailure();
    const int refusal = TARVKOVAErrGet();
    if (wasSignedIn && refusal != KOVA_SUCCESS) {
      report.notes.push_back("signed out here, but the service did not agree: " + errorMeaning(refusal));
    }
    if (wasSignedIn) requireNoAccountFile();
    if (wasSignedIn && isReportScheduled()) {
      report.notes.push_back(withReason(kReportRemains, writeObstacle(kScheduleFile)));
    }
  }
  return report;
}

}  // namespace

void addLogout(Command program, ChosenCommand &chosen) {
  const auto [command, local] = addCommand(program, chosen, "logout", "Sign this device out", logout);
  command.addFlag("--local", local, "Forget the account here without telling the service");
}

}  // namespace kova::cli
