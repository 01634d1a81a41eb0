#include <kova/error.h>
#include <kova/platform.h>
#include <kova/session.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <string>

#include "account/events.h"
#include "account/sign_in.h"
#include "base/text.h"
#include "core/device_settings.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {
namespace {

// Schedules the weekly report at a random time, so that devices do not all report at once.
void scheduleReport() {
  static constexpr int32_t kWeekdays[] = {0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x01};
  if (isReportDisabled()) return;
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  TARVSchedule schedule{};
  copyText(schedule.command, KOVA_REPORT_COMMAND);
  schedule.weekdays = kWeekdays[std::rand() % 7];
  schedule.hour = schedule.last_hour = std::rand() % 24;
  schedule.minute = std::rand() % 60;
  if (TARVScheduleSet(&schedule, 0) != 0) log(here(), "Failed to add crontab for kova");
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountLogin(const char *email, const char *password, Json::Value &reply, bool checkOnly) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (email == nullptr || password == nullptr) return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad Parameters");
    const std::string account = email;  // a copy: `email` may be a text of `reply`, which is replaced
    Exchange exchange;
    SignIn signIn(exchange);
    if (exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0) return -1;
    if (signIn.readMacAddressAndApiKey() < 0 || exchange.allocateParameters() < 0) return -1;
    signIn.setParameters("acnt_pw_apikey", email, password);
    if (signIn.send() < 0 || exchange.parseReply(reply) < 0) return -1;
    if (!hasMember(reply, "code")) return fail(here(), KOVA_ERR_RESPONSE, "bad response, no code");
    if (mapResult(reply) == KOVA_ERR_API_KEY_NOT_FOUND) {
      if (signIn.registerApiKey() < 0 || signIn.send() < 0 || exchange.parseReply(reply) < 0) return -1;
      mapResult(reply);
    }
    if (TARVKOVAErrGet() != KOVA_SUCCESS) {
      log(here(), "Failed to login %s, resp=%s", account.c_str(), exchange.body());
      return -1;
    }
    if (checkOnly) return 0;
    Json::Value profile(Json::objectValue);
    const AuthKeyWipedAtEnd wiped(profile);
    if (storeSignedInAccount(reply) < 0) {
      return fail(here(), KOVA_ERR_STORE, "TARVKOVAAccountSet failed, code=%u",
                  static_cast<unsigned>(TARVKOVAErrGet()));
    }
    scheduleReport();
    log(here(), "Logged in Kova Center as %s", account.c_str());
    writeEvent(kEventSignedIn, account.c_str());
    // The device is signed in also when its profile cannot be fetched.
    TARVKOVAAccountQueryInfo(profile, true, true);
    return 0;
  });
}
