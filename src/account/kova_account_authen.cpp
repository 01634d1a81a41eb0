#include <kova/error.h>
#include <kova/session.h>
#include <kova/transport.h>

#include <string>

#include "base/secret.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

using namespace kova;

int TARVKOVAAccountAuthen(const char *email, const char *password, const char *alias, Json::Value &reply) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (email == nullptr || password == nullptr) return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad Parameters");
    const std::string account = email;  // a copy: `email` may be a text of `reply`, which is replaced
    Exchange exchange;
    if (exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0) return -1;
    char digest[65];
    const WipedAtEnd wiped(digest);
    if (KovaGetMd5String(password, digest, sizeof digest) < 0) {
      log(here(), "Failed to get md5 string");
      return -1;
    }
    if (exchange.allocateParameters() < 0) return -1;
    exchange.setParameter("action", "authen");
    exchange.setParameter("email", email);
    exchange.setParameter("passwd", digest);
    exchange.setParameter("serial", exchange.serialNumber());
    if (alias != nullptr) exchange.setParameter("alias", alias);
    if (exchange.send({exchange.serviceUrl(), "dnsauth.php"}) < 0 || exchange.parseReply(reply) < 0) return -1;
    // A reply without a result means that the service accepted.
    if (!hasMember(reply, "code") || mapResult(reply) == KOVA_SUCCESS) return 0;
    log(here(), "Failed to authen %s, resp=%s", account.c_str(), exchange.body());
    return -1;
  });
}
