#include <kova/account.h>
#include <kova/error.h>
#include <kova/session.h>

#include <string>

#include "account/time_zone.h"
#include "core/device_settings.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

using namespace kova;

int TARVKOVAReportInfo() {
  return guarded([] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    const AccountRecord account = makeAccountRecord();
    if (TARVKOVAAccountGet(account.get()) < 0) {
      TARVKOVAErrSet(KOVA_SUCCESS);
      return 0;
    }
    if (isReportDisabled()) return 0;
    Exchange exchange;
    std::string zone;
    if (exchange.readServerConfig() < 0) return -1;
    if (readTimeZone(zone) < 0) return -1;
    if (exchange.readSerialNumber() < 0 || exchange.allocateParameters() < 0) return -1;
    exchange.setParameter("action", "check");
    exchange.setParameter("kova_id", account->kovaIDSerial);
    exchange.setParameter("auth_key", account->vx_auth_key);
    exchange.setParameter("timezone", zone.c_str());
    exchange.setParameter("serial", exchange.serialNumber());
    exchange.setParameter("vx_info", "");
    Json::Value reply;
    if (exchange.send({exchange.serviceUrl(), "dnsauth.php"}) < 0 || exchange.parseReply(reply) < 0) return -1;
    if (!hasMember(reply, "code")) return fail(KOVA_ERR_RESPONSE);
    if (mapResult(reply) == KOVA_SUCCESS) return 0;
    log(here(), "Failed to query service check, resp=%s", exchange.body());
    return -1;
  });
}
