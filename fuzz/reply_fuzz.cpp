// Any replies of the service to every operation that reads one: what it returns has the form that its contract
// promises, a failure leaves the caller's value as it was, and the account file keeps its other keys.
#include <kova/kova.h>

#include "fuzz/fuzz.h"

namespace {

// Runs an operation on a device that is signed in. Its requests get the replies from the first one on.
template <class Operation>
bool succeeds(const FuzzDevice &device, Operation operation) {
  device.write("/etc/kova.conf", "vx_auth_key=\"key\"\nkovaIDSerial=\"4711\"\nother=\"kept\"\n");
  hooks::state().attempts.clear();
  const bool isSuccess = operation() == 0;
  check(!exists(device.at("/etc/kova.conf")) || TLIBCFileCheckKeyValue("/etc/kova.conf", "other", "kept", 0) == 1);
  return isSuccess;
}

}  // namespace

void fuzz(FuzzDevice &device, Input input) {
  while (!input.rest().empty()) hooks::state().replies.push_back({input.next()});
  Json::Value value(Json::objectValue);
  if (succeeds(device, [&] { return TARVKOVAAccountPurchaseList("enu", "", "", {}, {}, {}, {}, value); })) {
    check(value["total"] == value["logs"].size());
    for (const Json::Value &log : value["logs"]) check(log.size() == 8 && log["price"].type() == Json::realValue);
  } else {
    check(value.empty());
  }
  value = Json::objectValue;
  const bool isAnswered = succeeds(device, [&] { return TARVKOVAAccountServiceCheck("4711", "key", value); });
  check(isAnswered ? value.size() == 3 && value["mcafee"].isBool() : value.empty() || value.size() == 2);
  value = Json::objectValue;
  const bool isQueried = succeeds(device, [&] { return TARVKOVAAccountQueryInfo(value, false, false); });
  check(isQueried ? value["auth_key"] == "key" && value.size() == 13 : value.empty());
  const bool isAccepted = succeeds(device, [&] { return TARVKOVAAccountAuthen("a", "b", nullptr, value); });
  check(isAccepted == (TARVKOVAErrGet() == KOVA_SUCCESS));
  if (succeeds(device, [&] { return TARVKOVAAccountLogin("a", "b", value, false); })) check(value.isMember("code"));
  succeeds(device, [] { return TARVKOVAAccountRegister("a", "b", "c", true); });
  succeeds(device, [] { return TARVKOVAReportInfo(); });
  const BOOL off = -1;
  succeeds(device, [] { return TARVKOVAAccountSetInfo("a", "", "", "", "", "", "", off, off, off, ""); });
  check(succeeds(device, [] { return TARVKOVAAccountLogout(); }) != exists(device.at("/etc/kova.conf")));
  device.account = device.host = "a";
  succeeds(device, [] { return TARVKOVAAccountIsUnified_C(); });
}
