#include <kova/account.h>
#include <kova/error.h>
#include <kova/session.h>

#include <memory>
#include <string>

#include "account/time_zone.h"
#include "account/weekly_report.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/road.h"

using namespace kova;

int TARVKOVAReportInfo() {
  return guarded([] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    const auto account = std::make_unique<AccountInfo>();
    if (TARVKOVAAccountGet(account.get()) < 0) {
      TARVKOVAErrSet(KOVA_SUCCESS);
      return 0;
    }
    if (isReportDisabled()) return 0;
    Road road;
    std::string zone;
    if (road.configure() < 0) return -1;
    if (readTimeZone(zone, here()) < 0) return -1;
    if (road.identify() < 0 || road.open() < 0) return -1;
    road.set("action", "check");
    road.set("kova_id", account->kovaIDSerial);
    road.set("auth_key", account->vx_auth_key);
    road.set("timezone", zone.c_str());
    road.set("serial", road.serial());
    road.set("vx_info", "");
    Json::Value reply;
    if (road.send({road.serviceUrl(), "dnsauth.php"}) < 0 || road.parse(reply) < 0) return -1;
    if (!hasMember(reply, "code")) return fail(KOVA_ERR_RESPONSE);
    if (mapResult(reply) == KOVA_SUCCESS) return 0;
    log(here(), "Failed to query service check, resp=%s", road.body());
    return -1;
  });
}
