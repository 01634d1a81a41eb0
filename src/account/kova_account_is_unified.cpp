#include <kova/error.h>
#include <kova/session.h>
#include <kova/unify.h>

#include <string>

#include "account/events.h"
#include "account/sign_in.h"
#include "account/unified_flag.h"
#include "core/guard.h"
#include "core/json.h"
#include "core/log.h"

namespace kova {
namespace {

// Signs the device in to the account with nothing but its API key.
bool DirectLoginByApiKey(const char *account) {
  TARVKOVAErrSet(KOVA_SUCCESS);
  Exchange exchange;
  SignIn signIn(exchange);
  if (exchange.readSerialNumber() < 0 || exchange.readServerConfig() < 0) return false;
  if (signIn.identify() < 0) return false;
  if (exchange.allocateParameters() < 0) return false;
  signIn.fill("acnt_apikey", account, nullptr);
  Json::Value reply(Json::objectValue);
  const auto readReply = [&](bool) {
    if (exchange.parseReply(reply) < 0) return -1;
    if (!hasMember(reply, "code")) {
      return fail(here(), KOVA_ERR_JSON_FORMAT, "Failed to parse json: %s", exchange.body());
    }
    // Never taken: the line above says it first.
    if (!hasMember(reply, "code")) return fail(here(), KOVA_ERR_RESPONSE, "bad response, no code");
    return 0;
  };
  if (signIn.ask(reply, readReply) < 0) {
    if (signIn.refused()) {
      log(here(), "DirectLoginByApiKey failed, account=%s, http-status: %ld response: %s", account,
          static_cast<long>(exchange.httpStatus()), exchange.body());
    }
    return false;
  }
  if (SignIn::store(reply) < 0) {
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
      // Not unified is no failure, whatever the scan met on its way.
      return fail(KOVA_SUCCESS);
    }
    if (accounts.size() == 1) {
      const std::string account = accounts.begin().name();
      if (!DirectLoginByApiKey(account.c_str())) {
        log(here(), "DirectLoginByApiKey failed, account=%s, code=%u", account.c_str(),
            static_cast<unsigned>(TARVKOVAErrGet()));
        return -1;
      }
    }
    // The outcome stands even where the mark cannot be written: the next call decides again.
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

// The same under the name that carries its parameter types.
extern "C" KOVA_API int qualifiedIsUnified(void) __asm__("_Z26TARVKOVAAccountIsUnified_Cv")
    __attribute__((alias("TARVKOVAAccountIsUnified_C")));
