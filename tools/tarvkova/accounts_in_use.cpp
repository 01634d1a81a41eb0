#include "tarvkova/accounts_in_use.h"

#include <fcntl.h>
#include <kova/unify.h>

#include <algorithm>
#include <optional>
#include <sstream>

#include "base/descriptor.h"
#include "base/json.h"
#include "base/secret.h"
#include "common/terminal_text.h"
#include "tarvkova/device_files.h"
#include "tarvkova/display_text.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/outcome.h"
#include "tarvkova/spinner.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"
#include "tarvkova/terminal.h"

namespace kova::cli {

void requireReadableSources() {
  if (const std::string unreadable = readObstacle(kAccountFile); !unreadable.empty()) {
    throw Failure(ExitCode::kLocal, 0, kAccountUnreadable, unreadable);
  }
  if (const std::string unreadable = readObstacle(kRelayFile); !unreadable.empty()) throw localFailure(unreadable);
  const std::string path = devicePath(kRelayFile);
  const Descriptor relay(retried([&] { return open(path.c_str(), kReadFlags); }));
  SecretText text;
  if (relay && !(readAll(relay, text) && parseJsonObject(text)))
    throw localFailure(path + " is damaged: it is not a JSON object");
}

Json::Value scanAccounts() {
  requireReadableSources();
  Json::Value accounts(Json::objectValue);
  if (callWithSpinner([&] { return TARVKOVAAccountScanExisting(accounts); }) < 0) throw libraryFailure();
  return accounts;
}

Failure notMarkedFailure(const std::string &message) {
  const Failure failure = libraryFailure();
  return {failure.exitCode, failure.code, failure.name, withReason(message, writeObstacle(kInformationFile))};
}

bool isSameAccount(const std::string &name, const std::string &account) {
  return withoutTrailingSpace(name) == withoutTrailingSpace(account);
}

std::string accountTable(const Json::Value &accounts, const std::vector<std::string> &others) {
  const Table table({{"ACCOUNT", 12}, {"SERVICE"}, {"NAME THERE", 12}}, [&](const UseRow &use) {
    for (const std::string &name : accounts.getMemberNames()) {
      std::string shown(withoutTrailingSpace(name));
      const bool hasTwin = shown != name && (accounts.isMember(shown) || std::ranges::count(others, shown) > 0);
      if (hasTwin) shown += " (with a line end)";
      for (const Json::Value &service : accounts[name]["services"]) {
        use({shown, displayText(service["type"]), displayText(service["value"])});
      }
    }
  });
  std::ostringstream text;
  table.write(text, outputWidth());
  return text.str();
}

Json::Value accountNames(const Json::Value &accounts) {
  Json::Value names(Json::arrayValue);
  for (const std::string &name : accounts.getMemberNames()) names.append(name);
  return names;
}

Json::Value serviceTypes(const Json::Value &accounts) {
  Json::Value types(Json::arrayValue);
  for (const Json::Value &account : accounts) {
    for (const Json::Value &service : account["services"]) types.append(service["type"]);
  }
  return types;
}

void confirmAbandoning(const Json::Value &accounts) {
  std::optional<Terminal> terminal = Terminal::open();
  if (!terminal) throw usageFailure("without a terminal to ask on, --yes is needed");
  std::string names;
  for (const std::string &name : accounts.getMemberNames()) {
    if (!names.empty()) names += ", ";
    names += withoutTrailingSpace(name);
  }
  if (!terminal->confirm("Tell the services to let go of " + names + "?")) throw localFailure("nothing was abandoned");
}

}  // namespace kova::cli
