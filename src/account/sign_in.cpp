#include "account/sign_in.h"

#include <kova/account.h>
#include <kova/error.h>
#include <kova/platform.h>

#include "base/text.h"
#include "core/handles.h"
#include "core/json.h"

namespace kova {

int SignIn::readMacAddressAndApiKey(const Where &where) {
  if (TARVCloudServiceGetMacAddress(mac_, sizeof mac_) < 0) {
    return fail(where, KOVA_ERR_MAC_ADDRESS, "Failed to get mac address");
  }
  if (TARVCloudServiceGetApiKey(apiKey_, 1) < 0) {
    return fail(where, GetErrorCodeFromCloudService(), "Failed to get apikey");
  }
  return 0;
}

void SignIn::setParameters(const char *type, const char *email, const char *password) {
  exchange_.setParameter("action", "get_auth_key");
  exchange_.setParameter("type", type);
  exchange_.setParameter("email", email);
  if (password != nullptr) exchange_.setParameter("passwd", password);
  exchange_.setParameter("serial", exchange_.serialNumber());
  exchange_.setParameter("api_key", apiKey_);
  exchange_.setParameter("mac", mac_);
}

int SignIn::send(const Where &where) {
  return exchange_.send({exchange_.serviceUrl(), "dnsauth.php"}, where);
}

int SignIn::registerApiKey(const Where &where) {
  log(where, "ApiKey not found. Register new one.");
  if (TARVCloudServiceRegisterApiKey(apiKey_) < 0) {
    log(where, "TARVCloudServiceRegisterApiKey failed");
    return -1;
  }
  exchange_.setParameter("api_key", apiKey_);
  return 0;
}

int storeSignedInAccount(const Json::Value &reply) {
  const AccountRecord account = makeAccountRecord();
  copyText(account->kovaIDSerial, textOf(member(reply, "kova_id")).c_str());
  copyText(account->vx_auth_key, textOf(member(reply, "auth_key")).c_str());
  return TARVKOVAAccountSet(account.get());
}

}  // namespace kova
