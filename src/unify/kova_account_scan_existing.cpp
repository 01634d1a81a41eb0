#include <kova/account.h>
#include <kova/platform.h>
#include <kova/unify.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "base/release.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "core/text.h"

namespace kova {
namespace {

using Pipe = std::unique_ptr<FILE, Release<TLIBCPclose>>;
using Line = char[1024];

void addService(Json::Value &accounts, const std::string &account, const char *type, const std::string &value) {
  Json::Value service(Json::objectValue);
  service["type"] = type;
  service["value"] = value;
  accounts[account]["services"].append(std::move(service));
}

// The account of the device's packages: the one whose password is stored.
void addPackages(Json::Value &accounts) {
  const AccountRecord stored = makeAccountRecord();
  if (TARVPaymentKovaAccountGet(stored.get()) < 0) return;
  addService(accounts, stored->kovaID, "package", "Antivirus by McAfee");
}

// The relay service's account, from its configuration.
void addRelay(Json::Value &accounts) {
  Json::Value relay;
  if (!parseJsonFile(relay, "/usr/tarv/etc/tarvrelayd/tarvrelayd.conf")) return;
  const Json::Value &alias = member(relay, "server_alias");
  const Json::Value &account = member(relay, "server_kova");
  if (!hasMember(alias, "alias") || !hasMember(account, "account")) return;
  const std::string name(textOf(member(account, "account")));
  if (!name.empty()) addService(accounts, name, "farlink", std::string(textOf(member(alias, "alias"))));
}

// Like std::fgets, but a signal does not end it, and nothing is cut off before the line ends or the stream does. False
// when the stream cannot be read.
bool readLine(Line &line, FILE *stream) {
  std::size_t length = 0;
  while (length + 1 < sizeof line) {
    const int c = std::fgetc(stream);
    if (c != EOF) {
      line[length++] = static_cast<char>(c);
      if (c == '\n') break;
    } else if (std::ferror(stream) == 0) {
      break;
    } else if (errno == EINTR) {
      std::clearerr(stream);
    } else {
      return false;
    }
  }
  line[length] = '\0';
  return true;
}

// Reads the first line that the dynamic DNS tool prints, with its newline. Returns 0, or -1 after it has logged.
int readDdnsLine(Line &line, const char *option) {
  const char *const arguments[] = {option, nullptr};
  const Pipe pipe(TLIBCPopen("/usr/tarv/sbin/tarvddnsinfo", arguments, "r"));
  if (!pipe) {
    log(here(), "Failed to open pipe");
    return -1;
  }
  if (!readLine(line, pipe.get())) {
    log(here(), "Failed to execute ddns command, option=%s", option);
    return -1;
  }
  return 0;
}

// The dynamic DNS service's account.
void addDdns(Json::Value &accounts) {
  Line account = "";
  Line host = "";
  if (readDdnsLine(account, "--get-tarv-account") < 0 || isEmpty(account)) return;
  if (readDdnsLine(host, "--get-tarv-hostname") < 0 || isEmpty(host)) return;
  addService(accounts, account, "ddns", host);
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
