#include <kova/error.h>
#include <kova/session.h>

#include <cstdlib>
#include <ctime>
#include <string>

#include "account/events.h"
#include "account/sign_in.h"
#include "account/weekly_report.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "core/text.h"

namespace kova {
namespace {

// Once a week, at a time of its own for each device.
void scheduleReport() {
  static constexpr int32_t kWeekdays[] = {0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x01};
  if (isReportDisabled()) return;
  std::srand(static_cast<unsigned>(time(nullptr)));
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
    const std::string account = email;  // which may lie in the value that the reply replaces
    Exchange exchange;
    SignIn signIn(exchange);
    if (exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0) return -1;
    if (signIn.identify() < 0) return -1;
    if (exchange.allocateParameters() < 0) return -1;
    signIn.fill("acnt_pw_apikey", email, password);
    const auto readReply = [&](bool again) {
      if (exchange.parseReply(reply) < 0) return -1;
      if (!again && !hasMember(reply, "code")) return fail(here(), KOVA_ERR_RESPONSE, "bad response, no code");
      return 0;
    };
    if (signIn.ask(reply, readReply) < 0) {
      if (signIn.refused()) log(here(), "Failed to login %s, resp=%s", account.c_str(), exchange.body());
      return -1;
    }
    if (checkOnly) return 0;
    Json::Value profile(Json::objectValue);
    if (SignIn::store(reply) < 0) {
      return fail(here(), KOVA_ERR_STORE, "TARVKOVAAccountSet failed, code=%u",
                  static_cast<unsigned>(TARVKOVAErrGet()));
    }
    scheduleReport();
    log(here(), "Logged in Kova Center as %s", account.c_str());
    writeEvent(kEventSignedIn, account.c_str());
    // The profile is fetched at once; signing in does not depend on it.
    TARVKOVAAccountQueryInfo(profile, true, true);
    return 0;
  });
}
