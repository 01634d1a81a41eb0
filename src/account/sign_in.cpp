#include "account/sign_in.h"

#include <kova/error.h>
#include <kova/platform.h>

#include <memory>

#include "core/json.h"
#include "core/text.h"

namespace kova {

int SignIn::identify(const Where &where) {
  if (TARVCloudServiceGetMacAddress(mac_, sizeof mac_) < 0) {
    return fail(where, KOVA_ERR_MAC_ADDRESS, "Failed to get mac address");
  }
  if (TARVCloudServiceGetApiKey(apiKey_, 1) < 0) {
    return fail(where, GetErrorCodeFromCloudService(), "Failed to get apikey");
  }
  return 0;
}

void SignIn::fill(const char *type, const char *email, const char *password) {
  exchange_.setParameter("action", "get_auth_key");
  exchange_.setParameter("type", type);
  exchange_.setParameter("email", email);
  if (password != nullptr) exchange_.setParameter("passwd", password);
  exchange_.setParameter("serial", exchange_.serialNumber());
  exchange_.setParameter("api_key", apiKey_);
  exchange_.setParameter("mac", mac_);
}

int SignIn::askOnce(Json::Value &reply, const ReadReply &readReply, bool again, const Where &where) {
  if (exchange_.send({exchange_.serviceUrl(), "dnsauth.php"}, where) < 0 || readReply(again) < 0) return -1;
  mapResult(reply);
  return 0;
}

int SignIn::ask(Json::Value &reply, const ReadReply &readReply, const Where &where) {
  if (askOnce(reply, readReply, false, where) < 0) return -1;
  if (TARVKOVAErrGet() == KOVA_ERR_API_KEY_NOT_FOUND) {
    log(where, "ApiKey not found. Register new one.");
    if (TARVCloudServiceRegisterApiKey(apiKey_) < 0) {
      log(where, "TARVCloudServiceRegisterApiKey failed");
      return -1;
    }
    exchange_.setParameter("api_key", apiKey_);
    if (askOnce(reply, readReply, true, where) < 0) return -1;
  }
  refused_ = TARVKOVAErrGet() != KOVA_SUCCESS;
  return refused_ ? -1 : 0;
}

int SignIn::store(const Json::Value &reply) {
  const auto account = std::make_unique<AccountInfo>();
  copyText(account->kovaIDSerial, textOf(member(reply, "kova_id")).c_str());
  copyText(account->vx_auth_key, textOf(member(reply, "auth_key")).c_str());
  return TARVKOVAAccountSet(account.get());
}

}  // namespace kova
