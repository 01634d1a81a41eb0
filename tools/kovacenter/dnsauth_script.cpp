// "dnsauth.php": credentials, auth keys and what an auth key gives access to.
#include <algorithm>
#include <string>
#include <vector>

#include "kovacenter/accounts.h"
#include "kovacenter/actions.h"
#include "kovacenter/auth_keys.h"
#include "kovacenter/call.h"
#include "kovacenter/devices.h"
#include "kovacenter/form.h"
#include "kovacenter/refusal.h"

namespace kova::center {
namespace {

Json::Value authenticate(const Call &call) {
  const std::string &email = call.form.needText("email");
  const std::string &md5 = call.form.need("passwd");
  const bool isHexadecimal =
      std::ranges::all_of(md5, [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
  if (md5.size() != 32 || !isHexadecimal) throw badParameter("passwd");
  Account account = signIn(call.database, email, md5);
  const std::string *alias = call.form.find("alias");
  if (alias != nullptr && !alias->empty()) {
    account.alias = *alias;
    saveAccount(call.database, account);
  }
  Json::Value reply;
  reply["kova_id"] = account.kovaId();
  reply["email"] = account.email;
  reply["full_name"] = account.fullName;
  reply["alias"] = account.alias;
  return reply;
}

// The account that signs in: by its password, or by its address alone where the device's API key is proof enough.
Account accountToSignIn(const Call &call) {
  const std::string &type = call.form.need("type");
  const std::string &email = call.form.needText("email");
  if (type == "acnt_pw_apikey") return signIn(call.database, email, needPasswordMd5(call));
  if (type != "acnt_apikey") throw badParameter("type");
  // Some of the device's services end the address with a newline.
  return signInWithoutPassword(call.database, email.substr(0, email.find_last_not_of("\r\n") + 1));
}

Json::Value getAuthKey(const Call &call) {
  const std::string &apiKey = call.form.needText("api_key");
  const std::string &mac = call.form.needText("mac");
  const Account account = accountToSignIn(call);
  admitDevice(call.database, call.serial, apiKey, mac);
  Json::Value reply;
  reply["kova_id"] = account.kovaId();
  reply["auth_key"] = issueAuthKey(call.database, account.id, call.serial);
  reply["email"] = account.email;
  return reply;
}

Json::Value queryAccount(const Call &call) {
  const Account account = signedInAccount(call);
  const std::vector<std::string> chosen = splitList(account.criticalVersions);
  Json::Value reply;
  reply["email"] = account.email;
  reply["full_name"] = account.fullName;
  reply["country"] = account.country;
  reply["timezone"] = account.timezone;
  reply["notify_language"] = account.notifyLanguage;
  reply["activated"] = account.verified;
  reply["disabled"] = account.disabled;
  reply["enews"] = account.enews;
  reply["critical_release"] = account.criticalRelease;
  reply["enews_local_promotion"] = account.enewsLocalPromotion;
  Json::Value &versions = reply["critical_version_list"] = Json::objectValue;
  for (const std::string &release : releases()) versions[release] = std::ranges::count(chosen, release) > 0;
  return reply;
}

Json::Value destroyAuthKeys(const Call &call) {
  revokeAuthKeys(call.database, signedInAccount(call).id, call.serial);
  return Json::objectValue;
}

Json::Value checkServices(const Call &call) {
  const Account account = signedInAccount(call);
  Json::Value reply = Json::objectValue;
  for (const std::string &wanted : splitList(call.form.need("vx_info"))) {
    if (wanted != "alias" && wanted != "ddns") throw badParameter("vx_info");
    reply[wanted] = wanted == "alias" ? account.alias : account.ddns;
  }
  const std::string *timezone = call.form.find("timezone");
  if (timezone != nullptr) setDeviceTimezone(call.database, call.serial, *timezone);
  return reply;
}

}  // namespace

const Actions &dnsauthActions() {
  static const Actions actions = {{"authen", authenticate},
                                  {"get_auth_key", getAuthKey},
                                  {"query", queryAccount},
                                  {"destroy", destroyAuthKeys},
                                  {"check", checkServices}};
  return actions;
}

}  // namespace kova::center
