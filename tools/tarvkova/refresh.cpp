#include "tarvkova/refresh.h"

#include <kova/error.h>

#include "tarvkova/device_files.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/stored_account.h"

namespace kova::cli {
namespace {

std::string refreshFailure(int code) {
  switch (code) {
    case KOVA_ERR_ACCOUNT_GET:
      return deviceRefusedMessage();
    case KOVA_ERR_STORE:
      return withReason("the account's profile was fetched, but not stored", localReason(code));
    case KOVA_ERR_SYSTEM:  // from any step
      return "the account's profile could not be fetched and stored: " + errorMeaning(code);
    default:
      return "the account's profile could not be fetched: " + errorMeaning(code);
  }
}

}  // namespace

std::string deviceRefusedMessage() {
  if (!readStoredAccount()) return "the service no longer accepts this device, which is signed out now; sign in again";
  const std::string obstacle = removeObstacle(kAccountFile);
  return "the service no longer accepts this device, but it could not be signed out here" +
         (obstacle.empty() ? "; try \"tarvkova logout --local\"" : ": " + obstacle);
}

void addRefreshNotes(Report &report, int code) {
  if (code == KOVA_SUCCESS) return;
  report.notes.push_back(refreshFailure(code));
  if (code == KOVA_ERR_ACCOUNT_GET) return;
  const StoredAccount account = readStoredAccount();
  if (account && account->last_query_time != 0) {
    // Fetching it again may help; a profile that was fetched would only be refused by the device again.
    report.notes.push_back("the stored profile is still the earlier one" +
                           std::string(code != KOVA_ERR_STORE ? "; try \"tarvkova status --refresh\"" : ""));
  }
}

}  // namespace kova::cli
