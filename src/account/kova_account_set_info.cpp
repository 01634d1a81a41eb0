#include <kova/account.h>
#include <kova/error.h>
#include <kova/platform.h>
#include <kova/session.h>

#include <new>

#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {
namespace {

// A null text or a negative flag leaves that detail of the account unchanged.
void setText(Exchange &exchange, const char *key, const char *value) {
  if (value != nullptr) exchange.setParameter(key, value);
}

void setFlag(Exchange &exchange, const char *key, BOOL value) {
  if (value >= 0) exchange.setParameter(key, value != 0 ? "true" : "false");
}

// Refreshes the profile and notifies the administrators. A failure does not fail the update, but a failed refresh
// leaves its error code.
void notifyOfNewPassword() {
  Json::Value profile(Json::objectValue);
  const AuthKeyWipedAtEnd wiped(profile);
  if (TARVKOVAAccountQueryInfo(profile, true, true) < 0) {
    log(here(), "TARVKOVAAccountQueryInfo failed, code=%u", static_cast<unsigned>(TARVKOVAErrGet()));
    return;
  }
  const SzHash parameters(TLIBCSzHashAlloc(1024));
  if (!parameters) {
    log(here(), "Failed to alloc notification hash, err=[0x%04X]", TLIBCErrGet());
    return;
  }
  if (TLIBCSzHashSetValue(parameters.get(), "%KOVA_ACCOUNT%", textOf(member(profile, "email")).c_str()) < 0) {
    log(here(), "Cant set kova account");
    return;
  }
  if (TARVSysNotifySendNotifiction("KovaPasswordChanged", parameters.get()) < 0) {
    log(here(), "Send notification failed");
  }
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountSetInfo(const char *fullName, const char *email, const char *password, const char *newPassword,
                           const char *country, const char *notifyLang, const char *timezone, BOOL enews,
                           BOOL criticalRelease, BOOL enewsLocalPromotion, const char *criticalVersionList) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    const AccountRecord account = makeAccountRecord();
    Exchange exchange;
    if (exchange.readAccount(*account) < 0 || exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0 ||
        exchange.allocateParameters() < 0)
      return -1;
    exchange.setParameter("action", "update");
    exchange.setParameter("kova_id", account->kovaIDSerial);
    exchange.setParameter("auth_key", account->vx_auth_key);
    exchange.setParameter("serial", exchange.serialNumber());
    setText(exchange, "full_name", fullName);
    if (password != nullptr) {
      exchange.setParameter("passwd", password);
      setText(exchange, "email", email);
      setText(exchange, "passwd_new", newPassword);
      setText(exchange, "passwd_confirmation", newPassword);
    }
    setText(exchange, "country", country);
    setText(exchange, "notify_lang", notifyLang);
    setText(exchange, "timezone", timezone);
    setFlag(exchange, "enews", enews);
    setFlag(exchange, "critical_release", criticalRelease);
    setFlag(exchange, "enews_local_promotion", enewsLocalPromotion);
    setText(exchange, "critical_version_list", criticalVersionList);
    if (exchange.send({exchange.serviceUrl(), "account.php"}) < 0) return -1;
    // The reply is the result word alone.
    if (MapLibKovaCenterErrorCode(exchange.body()) != KOVA_SUCCESS) {
      log(here(), "Failed to update account:%s, resp=%s", account->kovaIDSerial, exchange.body());
      return -1;
    }
    if (password != nullptr && newPassword != nullptr) {
      try {
        notifyOfNewPassword();
      } catch (const std::bad_alloc &) {
        // The account was updated all the same.
      }
    }
    return 0;
  });
}
