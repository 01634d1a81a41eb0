#include <kova/account.h>
#include <kova/error.h>
#include <kova/session.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <iterator>
#include <string>

#include "base/text.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {
namespace {

constexpr uint32_t kFreshSeconds = 599;

// Whether the last query is less than ten minutes from now. It may lie in the future: the clock may have been set back.
bool isFresh(const AccountInfo &account, std::time_t now) {
  const uint32_t age = static_cast<uint32_t>(now) - static_cast<uint32_t>(account.last_query_time);
  // Unsigned: from -599 to 599 the sum lies between 0 and 1198, else above.
  return account.last_query_time != 0 && age + kFreshSeconds <= 2 * kFreshSeconds;
}

void fillAnswer(Json::Value &info, const AccountInfo &account) {
  info["auth_key"] = account.vx_auth_key;
  info["email"] = account.kovaID;
  info["full_name"] = account.full_name;
  info["country"] = account.country;
  info["timezone"] = account.timezone;
  info["notify_language"] = account.notify_language;
  info["activated"] = account.activated != 0;
  info["disabled"] = account.disabled != 0;
  info["enews"] = account.enews != 0;
  info["critical_release"] = account.critical_release != 0;
  info["enews_local_promotion"] = account.enews_local_promotion != 0;
}

// The members that a reply must have. All but the first and the last are answered as they are.
constexpr const char *kRequired[] = {"code",
                                     "email",
                                     "full_name",
                                     "country",
                                     "timezone",
                                     "notify_language",
                                     "activated",
                                     "disabled",
                                     "enews",
                                     "critical_release",
                                     "enews_local_promotion",
                                     "critical_version_list"};

bool isComplete(const Json::Value &reply) {
  for (const char *name : kRequired) {
    if (!hasMember(reply, name)) return false;
  }
  return true;
}

// The critical versions of a reply, each list joined by commas.
class Versions {
 public:
  explicit Versions(const Json::Value &list) {
    for (auto version = list.begin(); version != list.end(); ++version) {
      const std::string name = list.isObject() ? version.name() : std::to_string(version.index());
      add(all_, name);
      if (truthOf(*version)) add(critical_, name);
    }
  }

  const std::string &all() const { return all_; }
  const std::string &critical() const { return critical_; }

 private:
  static void add(std::string &list, const std::string &name) {
    if (!list.empty()) list += ',';
    list += name;
  }

  std::string all_;
  std::string critical_;
};

void fillAccount(AccountInfo &account, const Json::Value &reply, const Versions &versions) {
  const auto text = [&](const char *name) { return textOf(member(reply, name)); };
  const auto flag = [&](const char *name) { return truthOf(member(reply, name)) ? 1 : 0; };
  copyText(account.kovaID, text("email").c_str());
  copyText(account.full_name, text("full_name").c_str());
  copyText(account.country, text("country").c_str());
  copyText(account.timezone, text("timezone").c_str());
  copyText(account.notify_language, text("notify_language").c_str());
  copyText(account.critical_version_list, versions.critical().c_str());
  copyText(account.critical_version_domain, versions.all().c_str());
  account.activated = flag("activated");
  account.disabled = flag("disabled");
  account.enews = flag("enews");
  account.critical_release = flag("critical_release");
  account.enews_local_promotion = flag("enews_local_promotion");
  account.last_query_time = static_cast<int32_t>(std::time(nullptr));
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountQueryInfo(Json::Value &info, bool force, bool shortTimeout) {
  return guarded([&] {
    const std::time_t now = std::time(nullptr);
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (!info.isNull() && !info.isObject()) return fail(KOVA_ERR_BAD_PARAMETERS);
    const AccountRecord account = makeAccountRecord();
    if (TARVKOVAAccountGet(account.get()) < 0) return fail(KOVA_ERR_ACCOUNT_GET);
    // The answer is put together in a copy, so that a failure leaves the caller's value as it was.
    Json::Value answer = info;
    if (!force && isFresh(*account, now)) {
      fillAnswer(answer, *account);
      info.swap(answer);
      return 0;
    }
    Exchange exchange;
    if (exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0 || exchange.allocateParameters() < 0)
      return -1;
    exchange.setParameter("action", "query");
    exchange.setParameter("kova_id", account->kovaIDSerial);
    exchange.setParameter("auth_key", account->vx_auth_key);
    exchange.setParameter("serial", exchange.serialNumber());
    Json::Value reply;
    if (exchange.send({exchange.serviceUrl(), "dnsauth.php", shortTimeout}) < 0 || exchange.parseReply(reply) < 0)
      return -1;
    // A reply without a result counts as one with an empty result.
    if (reply.isNull() || reply.isObject()) reply["code"];
    if (textOf(member(reply, "code")) == "badauth") {
      log(here(), "Logged out Kova due to authentication failure. kova_id_serial=%s, auth_key=%s",
          account->kovaIDSerial, account->vx_auth_key);
      TARVKOVAAccountRemove();
      return fail(KOVA_ERR_ACCOUNT_GET);
    }
    if (!isComplete(reply)) {
      return fail(here(), KOVA_ERR_RESPONSE, "Server returned insufficient data. resp=%s", compactText(reply).c_str());
    }
    if (mapResult(reply) != KOVA_SUCCESS) {
      log(here(), "Failed to query %s, resp=%s, code=%u", account->kovaIDSerial, exchange.body(),
          static_cast<unsigned>(TARVKOVAErrGet()));
      return -1;
    }
    const Versions versions(member(reply, "critical_version_list"));
    answer["auth_key"] = account->vx_auth_key;
    for (std::size_t i = 1; i + 1 < std::size(kRequired); ++i) answer[kRequired[i]] = member(reply, kRequired[i]);
    answer["critical_version_list"] = versions.critical();
    answer["critical_version_domain"] = versions.all();
    fillAccount(*account, reply, versions);
    // The profile is answered also when it cannot be stored; the error code then tells.
    if (TARVKOVAAccountSet(account.get()) < 0) {
      log(here(), "Failed to update Kova conf, code=%u", static_cast<unsigned>(TARVKOVAErrGet()));
    }
    info.swap(answer);
    return 0;
  });
}
