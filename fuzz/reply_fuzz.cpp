// Gives any reply of the service to every operation that reads one: none crashes, or changes another key of the account
// file.
#include <kova/kova.h>

#include <algorithm>
#include <memory>

#include "fuzz/device.h"
#include "support/hooks.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size) {
  static const FuzzDevice device;
  hooks::reset();
  hooks::state().wired = true;
  hooks::state().replies = {{std::string(reinterpret_cast<const char *>(data), size)}};
  device.write("etc/kova.conf", "vx_auth_key=\"key\"\nkovaIDSerial=\"4711\"\n");

  Json::Value value(Json::objectValue);
  TARVKOVAAccountAuthen("a", "b", nullptr, value);
  TARVKOVAAccountPurchaseList("enu", nullptr, nullptr, {}, {}, {}, {}, value = Json::objectValue);
  TARVKOVAAccountServiceCheck("4711", "key", value = Json::objectValue);
  TARVKOVAAccountRegister("a", "b", "c", true);
  TARVKOVAAccountQueryInfo(value = Json::objectValue, true, false);
  static AccountInfo account;
  account = {};
  if (TARVKOVAAccountGet(&account) == 0 && std::string(account.vx_auth_key) != "key") std::abort();
  TARVKOVAReportInfo();
  TARVKOVAAccountSetInfo("name", "b", "c", "d", nullptr, nullptr, nullptr, 1, 0, -1, nullptr);
  TARVKOVAAccountLogin("a", "b", value, false);
  TARVKOVAAccountLogout();
  device.write("etc/kova.conf", "kovaID=\"a\"\nkovaPW=\"b\"\n");
  device.write("etc/tarvinfo.conf", FuzzDevice::kInformation);
  TARVKOVAAccountIsUnified(value);
  Json::Value merged;
  merged[0]["email"] = "b";
  merged[0]["passwd"] = "c";
  TARVKOVAAccountMigrate("a", "b", merged);
  return 0;
}
