#include <kova/account.h>
#include <kova/error.h>
#include <kova/session.h>

#include <memory>
#include <new>
#include <string>

#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/road.h"

namespace kova {
namespace {

void setText(Road &road, const char *key, const char *value) {
  if (value != nullptr) road.set(key, value);
}

void setFlag(Road &road, const char *key, BOOL value) {
  if (value >= 0) road.set(key, value != 0 ? "true" : "false");
}

// Tells the administrators. A failure here does not fail the update; that of the refresh leaves its error code.
void notifyOfNewPassword() {
  Json::Value profile(Json::objectValue);
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
    const auto account = std::make_unique<AccountInfo>();
    Road road;
    if (road.account(*account) < 0 || road.configure() < 0 || road.identify() < 0 || road.open() < 0) return -1;
    road.set("action", "update");
    road.set("kova_id", account->kovaIDSerial);
    road.set("auth_key", account->vx_auth_key);
    road.set("serial", road.serial());
    setText(road, "full_name", fullName);
    if (password != nullptr) {
      road.set("passwd", password);
      setText(road, "email", email);
      setText(road, "passwd_new", newPassword);
      setText(road, "passwd_confirmation", newPassword);
    }
    setText(road, "country", country);
    setText(road, "notify_lang", notifyLang);
    setText(road, "timezone", timezone);
    setFlag(road, "enews", enews);
    setFlag(road, "critical_release", criticalRelease);
    setFlag(road, "enews_local_promotion", enewsLocalPromotion);
    setText(road, "critical_version_list", criticalVersionList);
    if (road.send({road.serviceUrl(), "account.php"}) < 0) return -1;
    // The reply is a bare word.
    if (MapLibKovaCenterErrorCode(road.body()) != KOVA_SUCCESS) {
      log(here(), "Failed to update account:%s, resp=%s", account->kovaIDSerial, road.body());
      return -1;
    }
    if (password != nullptr && newPassword != nullptr) {
      try {
        notifyOfNewPassword();
      } catch (const std::bad_alloc &) {
        // The update stands.
      }
    }
    return 0;
  });
}
