#include <kova/error.h>
#include <kova/session.h>
#include <kova/unify.h>

#include <string>

#include "account/events.h"
#include "account/sign_in.h"
#include "core/device_settings.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {
namespace {

// Parses the reply and maps its result. A reply without a result counts as one that is not JSON.
int readResult(Json::Value &reply, const Exchange &exchange) {
  if (exchange.parseReply(reply) < 0) return -1;
  if (!hasMember(reply, "code")) {
    return fail(here(), KOVA_ERR_JSON_FORMAT, "Failed to parse json: %s", exchange.body());
  }
  // Not reached: the condition above is the same.
  if (!hasMember(reply, "code")) return fail(here(), KOVA_ERR_RESPONSE, "bad response, no code");
  mapResult(reply);
  return 0;
}

// Signs the device in to the account with its API key alone. False, with the error code set, when that fails.
bool DirectLoginByApiKey(const char *account) {
  TARVKOVAErrSet(KOVA_SUCCESS);
  Exchange exchange;
  SignIn signIn(exchange);
  if (exchange.readSerialNumber() < 0 || exchange.readServerConfig() < 0) return false;
  if (signIn.readMacAddressAndApiKey() < 0 || exchange.allocateParameters() < 0) return false;
  signIn.setParameters("acnt_apikey", account, nullptr);
  Json::Value reply(Json::objectValue);
  const AuthKeyWipedAtEnd wiped(reply);
  if (signIn.send() < 0 || readResult(reply, exchange) < 0) return false;
  if (TARVKOVAErrGet() == KOVA_ERR_API_KEY_NOT_FOUND) {
    if (signIn.registerApiKey() < 0 || signIn.send() < 0 || readResult(reply, exchange) < 0) return false;
  }
  if (TARVKOVAErrGet() != KOVA_SUCCESS) {
    log(here(), "DirectLoginByApiKey failed, account=%s, http-status: %ld response: %s", account,
        static_cast<long>(exchange.httpStatus()), exchange.body());
    return false;
  }
  if (storeSignedInAccount(reply) < 0) {
    fail(here(), KOVA_ERR_STORE, "TARVKOVAAccountSet failed");
    return false;
  }
  log(here(), "Logged in Kova as %s", account);
  writeEvent(kEventSignedIn, account);
  return true;
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountIsUnified(Json::Value &accounts) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (isMarkedUnified()) return 0;
    if (TARVKOVAAccountScanExisting(accounts) < 0) {
      log(here(), "TARVKOVAAccountScanExisting failed");
      return -1;
    }
    if (accounts.size() > 1) {
      // The device is not unified, which is not an error. The scan may have left a code.
      TARVKOVAErrSet(KOVA_SUCCESS);
      return -1;
    }
    if (accounts.size() == 1) {
      const std::string account = accounts.begin().name();
      if (!DirectLoginByApiKey(account.c_str())) {
        log(here(), "DirectLoginByApiKey failed, account=%s, code=%u", account.c_str(),
            static_cast<unsigned>(TARVKOVAErrGet()));
        return -1;
      }
    }
    // Where the mark cannot be written, the device is unified all the same and the next call scans again.
    markUnified();
    return 0;
  });
}

int TARVKOVAAccountIsUnified_C(void) {
  return guarded([] {
    Json::Value accounts(Json::objectValue);
    return TARVKOVAAccountIsUnified(accounts);
  });
}

// The same function under its C++ name, which says that it has no parameters.
extern "C" KOVA_API int qualifiedIsUnified(void) __asm__("_Z26TARVKOVAAccountIsUnified_Cv")
    __attribute__((alias("TARVKOVAAccountIsUnified_C")));
