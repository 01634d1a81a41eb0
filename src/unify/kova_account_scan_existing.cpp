#include <kova/account.h>
#include <kova/unify.h>

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "core/text.h"

namespace kova {
namespace {

using Pipe = std::unique_ptr<FILE, Release<TLIBCPclose>>;
using Line = char[1024];

void add(Json::Value &accounts, const std::string &account, const char *type, const std::string &value) {
  Json::Value service(Json::objectValue);
  service["type"] = type;
  service["value"] = value;
  accounts[account]["services"].append(std::move(service));
}

void addPackages(Json::Value &accounts) {
  const auto stored = std::make_unique<AccountInfo>();
  if (TARVPaymentKovaAccountGet(stored.get()) < 0) return;
  add(accounts, stored->kovaID, "package", "Antivirus by McAfee");
}

void addRelay(Json::Value &accounts) {
  Json::Value relay;
  if (!parseJsonFile("/usr/tarv/etc/tarvrelayd/tarvrelayd.conf", relay)) return;
  const Json::Value &alias = member(relay, "server_alias");
  const Json::Value &account = member(relay, "server_kova");
  if (!hasMember(alias, "alias") || !hasMember(account, "account")) return;
  const std::string name = textOf(member(account, "account"));
  if (!name.empty()) add(accounts, name, "farlink", textOf(member(alias, "alias")));
}

// The first line that the dynamic DNS tool prints, with its newline.
int readDdnsLine(const char *option, Line &line) {
  const char *const arguments[] = {option, nullptr};
  const Pipe pipe(TLIBCPopen("/usr/tarv/sbin/tarvddnsinfo", arguments, "r"));
  if (!pipe) {
    log(here(), "Failed to open pipe");
    return -1;
  }
  if (std::fgets(line, sizeof line, pipe.get()) == nullptr && std::ferror(pipe.get()) != 0) {
    log(here(), "Failed to execute ddns command, option=%s", option);
    return -1;
  }
  return 0;
}

void addDdns(Json::Value &accounts) {
  Line account = "";
  Line host = "";
  if (readDdnsLine("--get-tarv-account", account) < 0 || isEmpty(account)) return;
  if (readDdnsLine("--get-tarv-hostname", host) < 0 || isEmpty(host)) return;
  add(accounts, account, "ddns", host);
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountScanExisting(Json::Value &result) {
  return guarded([&] {
    result = Json::Value(Json::objectValue);
    addPackages(result);
    addRelay(result);
    addDdns(result);
    return 0;
  });
}
