#include <kova/error.h>
#include <kova/services.h>

#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/road.h"

namespace kova {
namespace {

int accept(const Road &road, const Json::Value &reply, const Where &where) {
  if (mapResult(reply) == KOVA_SUCCESS) return 0;
  log(where, "Failed to query service check, resp=%s", road.body());
  return -1;
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountServiceCheck(const char *accountId, const char *authKey, Json::Value &result) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (authKey == nullptr || accountId == nullptr || result.isNull()) {
      return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad parameter");
    }
    Road road;
    if (road.configure() < 0 || road.identify() < 0 || road.open() < 0) return -1;
    road.set("action", "check");
    road.set("kova_id", accountId);
    road.set("auth_key", authKey);
    road.set("serial", road.serial());
    road.set("vx_info", "alias,ddns");
    Json::Value reply;
    if (road.send({road.serviceUrl(), "dnsauth.php"}) < 0 || road.parse(reply) < 0) return -1;
    // The members count before the result does.
    if (!hasMember(reply, "code") || !hasMember(reply, "alias") || !hasMember(reply, "ddns")) {
      return fail(KOVA_ERR_RESPONSE);
    }
    if (accept(road, reply, here()) < 0) return -1;
    Json::Value services(Json::objectValue);
    services["alias"] = member(reply, "alias");
    services["ddns"] = member(reply, "ddns");
    result.swap(services);

    // All other parameters stay as they are, "vx_info" too.
    road.set("action", "get_history");
    road.set("apps", "Antivirus by McAfee");
    if (road.send({road.firstUrl(), "api/query.php"}) < 0 || road.parse(reply) < 0) return -1;
    if (!hasMember(reply, "code") || !hasMember(reply, "entries")) return fail(KOVA_ERR_RESPONSE);
    if (accept(road, reply, here()) < 0) return -1;
    result["mcafee"] = member(reply, "entries").size() != 0;
    return 0;
  });
}
