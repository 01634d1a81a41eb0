#include "tarvkova/services_in_use.h"

#include <kova/unify.h>

#include <algorithm>
#include <optional>

#include "tarvkova/outcome.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"
#include "tarvkova/terminal.h"
#include "tarvkova/text.h"
#include "tarvkova/waiting.h"

namespace kova::cli {

Json::Value scanAccounts() {
  Json::Value accounts(Json::objectValue);
  if (whileWaiting([&] { return TARVKOVAAccountScanExisting(accounts); }) < 0) throw libraryFailure();
  return accounts;
}

bool means(const std::string &name, const std::string &account) {
  return trimmed(name) == trimmed(account);
}

std::string tableOf(const Json::Value &accounts, const std::vector<std::string> &others) {
  Table table({{"ACCOUNT", 12}, {"SERVICE"}, {"NAME THERE", 12}});
  for (const std::string &name : accounts.getMemberNames()) {
    std::string shown(trimmed(name));
    const bool hasTwin = shown != name && (accounts.isMember(shown) || std::ranges::count(others, shown) > 0);
    if (hasTwin) shown += " (with a line end)";
    for (const Json::Value &service : accounts[name]["services"]) {
      table.add({shown, textOf(service["type"]), textOf(service["value"])});
    }
  }
  return table.text(outputWidth());
}

Json::Value namesOf(const Json::Value &accounts) {
  Json::Value names(Json::arrayValue);
  for (const std::string &name : accounts.getMemberNames()) names.append(name);
  return names;
}

Json::Value typesOf(const Json::Value &accounts) {
  Json::Value types(Json::arrayValue);
  for (const Json::Value &account : accounts) {
    for (const Json::Value &service : account["services"]) types.append(service["type"]);
  }
  return types;
}

void confirmLettingGo(const Json::Value &accounts) {
  std::optional<Terminal> terminal = Terminal::open();
  if (!terminal) throw usageFailure("without a terminal to ask on, --yes is needed");
  std::string names;
  for (const std::string &name : accounts.getMemberNames()) {
    if (!names.empty()) names += ", ";
    names += trimmed(name);
  }
  if (!terminal->confirm("Tell the services to let go of " + names + "?")) throw localFailure("nothing was abandoned");
}

}  // namespace kova::cli
