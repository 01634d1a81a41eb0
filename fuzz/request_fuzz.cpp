// Any arguments of the operations, and any accounts in use and to merge: the service finds in the form exactly what was
// given, and the hooks are told of the services of exactly the accounts that were found and not merged.
#include <kova/kova.h>

#include <map>

#include "fuzz/fuzz.h"
#include "kovacenter/form.h"

namespace {

// Checks the form that was sent last.
void expectSent(const std::map<std::string, std::string> &parameters) {
  const kova::center::Form form(hooks::state().attempts.at(hooks::state().attempts.size() - 1).form);
  check(form.pairs().at(0).first == "vx_sn" && form.pairs().at(1).first == "vx_token");
  for (const auto &[name, value] : parameters) check(form.need(name) == value);
}

std::string textOf(const Json::Value &value) {
  return value.isConvertibleTo(Json::stringValue) ? value.asString().c_str() : "";
}

// The types of the services of these accounts, as the hooks are told of them.
std::string servicesOf(const Json::Value &accounts) {
  std::string types;
  for (const Json::Value &account : accounts) {
    check(!account["services"].empty());
    for (const Json::Value &service : account["services"]) {
      types += (types.empty() ? "" : ",") + service["type"].asString();
    }
  }
  return types;
}

}  // namespace

void fuzz(FuzzDevice &device, Input input) {
  const std::string a = device.account = input.next(), b = device.host = input.next();
  device.write("/usr/tarv/etc/tarvrelayd/tarvrelayd.conf", input.next());
  device.write("/usr/tarv/tarvkova/unify/hook", "");
  const std::string packages = input.next(), c = input.next();
  const Json::Value lists = kova::parseJsonObject(input.rest()).value_or(Json::objectValue);

  Json::Value result(Json::objectValue);
  TARVKOVAAccountAuthen(a.c_str(), b.c_str(), c.c_str(), result);
  expectSent({{"action", "authen"}, {"email", a}, {"alias", c}});
  TARVKOVAAccountLogin(a.c_str(), b.c_str(), result, true);
  expectSent({{"action", "get_auth_key"}, {"email", a}, {"passwd", b}});
  TARVKOVAAccountRegister(a.c_str(), b.c_str(), c.c_str(), true);
  expectSent({{"action", "register"}, {"email", a}, {"passwd", b}, {"full_name", c}});
  TARVKOVAAccountSetInfo(a.c_str(), b.c_str(), c.c_str(), a.c_str(), b.c_str(), c.c_str(), a.c_str(), 1, 0, -1,
                         b.c_str());
  expectSent({{"full_name", a}, {"email", b}, {"passwd", c}, {"passwd_new", a}, {"country", b}, {"notify_lang", c}});
  std::string apps;
  if (lists["apps"].isArray()) {
    for (const Json::Value &app : lists["apps"]) apps += textOf(app) + ",";
  }
  TARVKOVAAccountPurchaseList(a.c_str(), b.c_str(), c.c_str(), lists["apps"], {}, {}, {}, result);
  expectSent({{"language", a}, {"dates", b + "," + c}});
  if (!apps.empty()) expectSent({{"apps", apps.substr(0, apps.size() - 1)}});

  device.write("/etc/kova.conf", packages);
  check(TARVKOVAAccountScanExisting(result) == 0);
  check(TARVKOVAAbandonUnmerged({}) == 0 && device.abandoned == servicesOf(result));
  device.abandoned.clear();
  hooks::state().replies = {{"good"}};
  const Json::Value &merged = lists["merge_list"];
  if (TARVKOVAAccountMigrate(c.c_str(), "secret", merged) < 0) return;
  result.removeMember(c);
  for (Json::ArrayIndex i = 0; i < merged.size(); ++i) {
    result.removeMember(merged[i]["email"].isConvertibleTo(Json::stringValue) ? merged[i]["email"].asString() : "");
    expectSent({{"merge_list[" + std::to_string(i) + "][email]", textOf(merged[i]["email"])}});
  }
  check(device.abandoned == servicesOf(result));
}
