#include <kova/account.h>
#include <kova/error.h>
#include <kova/session.h>

#include <memory>

#include "account/events.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/road.h"

using namespace kova;

int TARVKOVAAccountLogout() {
  return guarded([] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    const auto account = std::make_unique<AccountInfo>();
    if (TARVKOVAAccountGet(account.get()) < 0) {
      log(here(), "Not logged in. Logout successfully");
      TARVKOVAErrSet(KOVA_SUCCESS);
      return 0;
    }
    Road road;
    if (road.identify() < 0 || road.configure() < 0 || road.open() < 0) return -1;
    road.set("action", "destroy");
    road.set("serial", road.serial());
    road.set("kova_id", account->kovaIDSerial);
    road.set("auth_key", account->vx_auth_key);
    Json::Value reply;
    if (road.send({road.serviceUrl(), "dnsauth.php"}) < 0 || road.parse(reply) < 0) return -1;
    // From here on the device signs out, whatever the service said; its refusal stays readable as the error code.
    if (hasMember(reply, "code") && mapResult(reply) != KOVA_SUCCESS) {
      log(here(), "Failed to logout %s, resp=%s", account->kovaIDSerial, road.body());
    }
    TARVKOVAAccountRemove();
    TARVScheduleRemove(KOVA_REPORT_COMMAND);
    log(here(), "Logged out Kova");
    writeEvent(kEventSignedOut, "");
    return 0;
  });
}
