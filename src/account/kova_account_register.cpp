#include <kova/error.h>
#include <kova/services.h>

#include <string>

#include "account/time_zone.h"
#include "core/device_path.h"
#include "core/guard.h"
#include "core/log.h"
#include "core/text.h"
#include "transport/road.h"

using namespace kova;

int TARVKOVAAccountRegister(const char *email, const char *password, const char *fullName, bool criticalRelease) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (email == nullptr || password == nullptr || fullName == nullptr) {
      return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad Parameters");
    }
    Road road;
    if (road.identify() < 0 || road.configure() < 0) return -1;
    char language[32] = "";
    if (TLIBCFileGetKeyValue(kInformationFile, "language", language, sizeof language, 0) < 1) {
      copyText(language, "enu");
    }
    std::string zone;
    if (road.makeToken() < 0 || readTimeZone(zone, here()) < 0 || road.open() < 0) return -1;
    road.set("action", "register");
    road.set("email", email);
    road.set("passwd", password);
    road.set("full_name", fullName);
    road.set("serial", road.serial());
    road.set("notify_lang", language);
    road.set("token", road.token());
    road.set("timezone", zone.c_str());
    road.set("critical_release", criticalRelease ? "true" : "false");
    const Target target = {
        .base = road.serviceUrl(), .path = "account.php", .failure = "failed to send https request. err=[0x%04X]"};
    if (road.send(target) < 0) return -1;
    // The reply is a bare word.
    if (MapLibKovaCenterErrorCode(road.body()) == KOVA_SUCCESS) return 0;
    log(here(), "Failed to register %s, resp=%s", email, road.body());
    return -1;
  });
}
