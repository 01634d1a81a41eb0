#include <kova/error.h>
#include <kova/session.h>

#include <algorithm>
#include <ctime>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "tarvkova/commands.h"
#include "tarvkova/display_text.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/refresh.h"
#include "tarvkova/spinner.h"
#include "tarvkova/stored_account.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"

namespace kova::cli {
namespace {

std::string profileText(const Json::Value &profile, const std::string &source) {
  const std::vector<std::pair<std::string, std::string>> fields = {
      {"Account", displayText(profile["email"])},
      {"Name", displayText(profile["full_name"])},
      {"Country", displayText(profile["country"])},
      {"Time zone", displayText(profile["timezone"])},
      {"Language", displayText(profile["notify_language"])},
      {"Activated", displayText(profile["activated"])},
      {"Disabled", displayText(profile["disabled"])},
      {"Newsletter", displayText(profile["enews"])},
      {"Local promotion", displayText(profile["enews_local_promotion"])},
      {"Critical releases", displayText(profile["critical_release"])},
      {"Critical versions", displayTextOrNone(profile["critical_version_list"])},
      {"Known versions", displayText(profile["critical_version_domain"])},
      {"Source", source},
  };
  return fieldList(outputWidth(), fields);
}

Failure queryFailure() {
  const Failure failure = libraryFailure();
  return failure.code == KOVA_ERR_ACCOUNT_GET ? notSignedInFailure(deviceRefusedMessage()) : failure;
}

// That there is no account is an answer here.
void requireSignedIn() {
  if (findStoredAccount()) return;
  Failure failure = libraryFailure();
  failure.answer = "This device is not signed in.\n";
  failure.result["signed_in"] = false;
  throw failure;
}

// The names in a text that commas separate.
Json::Value listOf(const std::string &names) {
  Json::Value list(Json::arrayValue);
  std::istringstream rest(names);
  for (std::string name; std::getline(rest, name, ',');) list.append(name);
  return list;
}

// The service's profile with each member in its type: a service may send any.
void setTypes(Json::Value &profile) {
  for (const char *text : {"email", "full_name", "country", "timezone", "notify_language"}) {
    profile[text] = displayText(profile[text]);
  }
  for (const char *flag : {"activated", "disabled", "enews", "critical_release", "enews_local_promotion"}) {
    const Json::Value &value = profile[flag];
    profile[flag] = value.isConvertibleTo(Json::booleanValue) && value.asBool();
  }
  for (const char *list : {"critical_version_list", "critical_version_domain"}) {
    profile[list] = listOf(displayText(profile[list]));
  }
}

Report status(const bool &refresh) {
  requireSignedIn();
  Json::Value profile(Json::objectValue);
  if (callWithSpinner([&] { return TARVKOVAAccountQueryInfo(profile, refresh, true); }) < 0) throw queryFailure();
  Report report;
  addRefreshNotes(report, TARVKOVAErrGet());

  // The stored profile does not have this member.
  const bool isFetched = profile.isMember("critical_version_list");
  std::time_t age = 0;
  if (!isFetched) {
    const StoredAccount account = requireStoredAccount();
    age = std::max<std::time_t>(std::time(nullptr) - account->last_query_time, 0);
    profile["critical_version_list"] = account->critical_version_list;
    profile["critical_version_domain"] = account->critical_version_domain;
  }
  report.text = profileText(profile, isFetched ? "the service, now" : "stored " + std::to_string(age) + " s ago");
  setTypes(profile);
  report.result["signed_in"] = true;
  report.result["account"] = withoutKeys(profile);
  report.result["source"] = isFetched ? "service" : "stored";
  report.result["age"] = Json::Int64{age};
  return report;
}

}  // namespace

void addStatus(Command program, ChosenCommand &chosen) {
  const auto [command, refresh] =
      addCommand(program, chosen, "status", "Show the account that this device is signed in to", status);
  command.addFlag("--refresh", refresh, "Ask the service even if the stored profile is fresh");
}

}  // namespace kova::cli
