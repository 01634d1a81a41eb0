#include <kova/error.h>
#include <kova/services.h>

#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {
namespace {

// Maps the reply's result. Returns 0, or -1 after it has logged at `where` that the service refused.
int checkResult(const Exchange &exchange, const Json::Value &reply, const Where &where = Where::current()) {
  if (mapResult(reply) == KOVA_SUCCESS) return 0;
  log(where, "Failed to query service check, resp=%s", exchange.body());
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
    Exchange exchange;
    if (exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0 || exchange.allocateParameters() < 0)
      return -1;
    exchange.setParameter("action", "check");
    exchange.setParameter("kova_id", accountId);
    exchange.setParameter("auth_key", authKey);
    exchange.setParameter("serial", exchange.serialNumber());
    exchange.setParameter("vx_info", "alias,ddns");
    Json::Value reply;
    if (exchange.send({exchange.serviceUrl(), "dnsauth.php"}) < 0 || exchange.parseReply(reply) < 0) return -1;
    // Missing members are reported before a refusal is.
    if (!hasMember(reply, "code") || !hasMember(reply, "alias") || !hasMember(reply, "ddns")) {
      return fail(KOVA_ERR_RESPONSE);
    }
    if (checkResult(exchange, reply) < 0) return -1;
    Json::Value services(Json::objectValue);
    services["alias"] = member(reply, "alias");
    services["ddns"] = member(reply, "ddns");
    result.swap(services);

    // The second request has the parameters of the first as well.
    exchange.setParameter("action", "get_history");
    exchange.setParameter("apps", "Antivirus by McAfee");
    if (exchange.send({exchange.firstUrl(), "api/query.php"}) < 0 || exchange.parseReply(reply) < 0) return -1;
    if (!hasMember(reply, "code") || !hasMember(reply, "entries")) return fail(KOVA_ERR_RESPONSE);
    if (checkResult(exchange, reply) < 0) return -1;
    result["mcafee"] = member(reply, "entries").size() != 0;
    return 0;
  });
}
