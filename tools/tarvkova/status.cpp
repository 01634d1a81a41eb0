#include <kova/error.h>
#include <kova/session.h>

#include <algorithm>
#include <ctime>

#include "tarvkova/commands.h"
#include "tarvkova/refresh.h"
#include "tarvkova/stored_account.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"
#include "tarvkova/text.h"
#include "tarvkova/waiting.h"

namespace kova::cli {
namespace {

std::string render(const Json::Value &profile, const std::string &origin) {
  const std::vector<std::pair<std::string, std::string>> fields = {
      {"Account", textOf(profile["email"])},
      {"Name", textOf(profile["full_name"])},
      {"Country", textOf(profile["country"])},
      {"Time zone", textOf(profile["timezone"])},
      {"Language", textOf(profile["notify_language"])},
      {"Activated", textOf(profile["activated"])},
      {"Disabled", textOf(profile["disabled"])},
      {"Newsletter", textOf(profile["enews"])},
      {"Local promotion", textOf(profile["enews_local_promotion"])},
      {"Critical releases", textOf(profile["critical_release"])},
      {"Critical versions", orNone(profile["critical_version_list"])},
      {"Known versions", textOf(profile["critical_version_domain"])},
      {"Source", origin},
  };
  return fieldList(outputWidth(), fields);
}

Failure queryFailure() {
  const Failure failure = libraryFailure();
  return failure.code == KOVA_ERR_ACCOUNT_GET ? notSignedIn(keyRefused()) : failure;
}

Report status(const bool &refresh) {
  storedAccount();
  Json::Value profile(Json::objectValue);
  if (whileWaiting([&] { return TARVKOVAAccountQueryInfo(profile, refresh, true); }) < 0) throw queryFailure();
  Report report;
  noteRefresh(report, TARVKOVAErrGet());

  // Only the service's answer has this member.
  const bool fetched = profile.isMember("critical_version_list");
  std::time_t age = 0;
  if (!fetched) {
    const StoredAccount account = storedAccount();
    age = std::max<std::time_t>(std::time(nullptr) - account->last_query_time, 0);
    profile["critical_version_list"] = account->critical_version_list;
    profile["critical_version_domain"] = account->critical_version_domain;
  }
  report.text = render(profile, fetched ? "the service, now" : "stored " + std::to_string(age) + " s ago");
  report.result["account"] = withoutKeys(profile);
  report.result["source"] = fetched ? "service" : "stored";
  report.result["age"] = Json::Int64{age};
  return report;
}

}  // namespace

void addStatus(CLI::App &program, Action &action) {
  const auto [command, refresh] =
      addCommand(program, action, "status", "Show the account that this device is signed in to", status);
  command->add_flag("--refresh", refresh, "Ask the service even if the stored profile is fresh");
}

}  // namespace kova::cli
