#include <kova/error.h>
#include <kova/platform.h>
#include <kova/services.h>

#include <string>

#include "account/time_zone.h"
#include "base/text.h"
#include "core/device_path.h"
#include "core/guard.h"
#include "core/log.h"
#include "transport/exchange.h"

using namespace kova;

int TARVKOVAAccountRegister(const char *email, const char *password, const char *fullName, bool criticalRelease) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (email == nullptr || password == nullptr || fullName == nullptr) {
      return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad Parameters");
    }
    Exchange exchange;
    if (exchange.readSerialNumber() < 0 || exchange.readServerConfig() < 0) return -1;
    char language[32] = "";
    if (TLIBCFileGetKeyValue(kInformationFile, "language", language, sizeof language, 0) < 1) {
      copyText(language, "enu");
    }
    std::string zone;
    if (exchange.makeToken() < 0 || readTimeZone(zone) < 0 || exchange.allocateParameters() < 0) return -1;
    exchange.setParameter("action", "register");
    exchange.setParameter("email", email);
    exchange.setParameter("passwd", password);
    exchange.setParameter("full_name", fullName);
    exchange.setParameter("serial", exchange.serialNumber());
    exchange.setParameter("notify_lang", language);
    exchange.setParameter("token", exchange.token());
    exchange.setParameter("timezone", zone.c_str());
    exchange.setParameter("critical_release", criticalRelease ? "true" : "false");
    const Target target = {
        .base = exchange.serviceUrl(), .path = "account.php", .failure = "failed to send https request. err=[0x%04X]"};
    if (exchange.send(target) < 0) return -1;
    // The reply is the result word alone.
    if (MapLibKovaCenterErrorCode(exchange.body()) == KOVA_SUCCESS) return 0;
    log(here(), "Failed to register %s, resp=%s", email, exchange.body());
    return -1;
  });
}
