#include <kova/error.h>
#include <kova/session.h>

#include <string>

#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/road.h"

using namespace kova;

int TARVKOVAAccountAuthen(const char *email, const char *password, const char *alias, Json::Value &reply) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (email == nullptr || password == nullptr) return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad Parameters");
    const std::string account = email;  // which may lie in the value that the reply replaces
    Road road;
    if (road.configure() < 0 || road.identify() < 0) return -1;
    char digest[65];
    if (KovaGetMd5String(password, digest, sizeof digest) < 0) {
      log(here(), "Failed to get md5 string");
      return -1;
    }
    if (road.open() < 0) return -1;
    road.set("action", "authen");
    road.set("email", email);
    road.set("passwd", digest);
    road.set("serial", road.serial());
    if (alias != nullptr) road.set("alias", alias);
    if (road.send({road.serviceUrl(), "dnsauth.php"}) < 0 || road.parse(reply) < 0) return -1;
    // The service may answer without a result; then it accepted.
    if (!hasMember(reply, "code")) return 0;
    if (mapResult(reply) == KOVA_SUCCESS) return 0;
    log(here(), "Failed to authen %s, resp=%s", account.c_str(), road.body());
    return -1;
  });
}
