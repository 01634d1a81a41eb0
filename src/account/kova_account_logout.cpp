#include <kova/account.h>
#include <kova/error.h>
#include <kova/platform.h>
#include <kova/session.h>

#include "account/events.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

using namespace kova;

int TARVKOVAAccountLogout() {
  return guarded([] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    const AccountRecord account = makeAccountRecord();
    if (TARVKOVAAccountGet(account.get()) < 0) {
      log(here(), "Not logged in. Logout successfully");
      TARVKOVAErrSet(KOVA_SUCCESS);
      return 0;
    }
    Exchange exchange;
    if (exchange.readSerialNumber() < 0 || exchange.readServerConfig() < 0 || exchange.allocateParameters() < 0)
      return -1;
    exchange.setParameter("action", "destroy");
    exchange.setParameter("serial", exchange.serialNumber());
    exchange.setParameter("kova_id", account->kovaIDSerial);
    exchange.setParameter("auth_key", account->vx_auth_key);
    Json::Value reply;
    if (exchange.send({exchange.serviceUrl(), "dnsauth.php"}) < 0 || exchange.parseReply(reply) < 0) return -1;
    // The device signs out also when the service refuses; the error code then tells of the refusal.
    if (hasMember(reply, "code") && mapResult(reply) != KOVA_SUCCESS) {
      log(here(), "Failed to logout %s, resp=%s", account->kovaIDSerial, exchange.body());
    }
    TARVKOVAAccountRemove();
    TARVScheduleRemove(KOVA_REPORT_COMMAND);
    log(here(), "Logged out Kova");
    writeEvent(kEventSignedOut, "");
    return 0;
  });
}
