// Any arguments and replies of the operations, and any accounts in use and to merge: the service finds in the form what
// was given, what is returned has the form that its contract promises, a failure leaves the caller's value as it was,
// the account file keeps its other keys, and the hooks are told of the services of exactly the accounts that were found
// and not merged.
#include <kova/kova.h>

#include <map>

#include "fuzz/fuzz.h"
#include "kovacenter/form.h"

namespace {

// Runs an operation on a device that is signed in. Its requests get the replies from the first one on. The first
// request has these parameters.
template <class Operation>
bool succeeds(const FuzzDevice &device, const std::map<std::string, std::string> &parameters, Operation operation) {
  device.write("/etc/kova.conf", kSignedIn);
  hooks::state().attempts.clear();
  hooks::state().options.clear();
  const bool isSuccess = operation() == 0;
  check(!exists(device.at("/etc/kova.conf")) || TLIBCFileCheckKeyValue("/etc/kova.conf", "other", "kept", 0) == 1);
  for (const auto &[name, value] : parameters)
    check(kova::center::Form(hooks::state().attempts.at(0).form).need(name) == value);
  return isSuccess;
}

// The types of the services of these accounts, as the hooks are told of them.
std::string servicesOf(const Json::Value &accounts) {
  std::string types;
  for (const Json::Value &account : accounts)
    for (const Json::Value &service : account["services"]) types += "," + service["type"].asString();
  return types.erase(0, 1);
}

}  // namespace

void fuzz(FuzzDevice &device, const std::string &input) {
  const Texts parts = split(input, '\f', 6);
  const char *a = parts[0].c_str(), *b = parts[1].c_str(), *c = parts[4].c_str();
  device.account = parts[0], device.host = parts[1];
  device.write("/usr/tarv/etc/tarvrelayd/tarvrelayd.conf", parts[2]);
  device.write("/usr/tarv/tarvkova/unify/hook", "");
  const Json::Value lists = kova::parseJsonObject(parts[5]).value_or(Json::objectValue), &merged = lists["merge_list"];
  for (std::size_t i = 6; i < parts.size(); ++i) hooks::state().replies.push_back({parts[i]});

  Json::Value list(Json::objectValue), services = list, profile = list, value = list;
  const bool isListed = succeeds(device, {{"language", a}, {"dates", std::string(b) + "," + c}}, [&] {
    return TARVKOVAAccountPurchaseList(a, b, c, lists["apps"], lists["serials"], lists["prices"], lists["paypals"],
                                       list);
  });
  check(isListed ? list["total"] == list["logs"].size() : list.empty());
  for (const Json::Value &log : list["logs"]) check(log.size() == 8 && log["price"].type() == Json::realValue);
  if (succeeds(device, {}, [&] { return TARVKOVAAccountServiceCheck(a, b, services); })) check(services.size() == 3);
  const bool isQueried = succeeds(device, {}, [&] { return TARVKOVAAccountQueryInfo(profile, false, false); });
  check(isQueried ? profile["auth_key"] == "key" && profile.size() == 13 : profile.empty());
  succeeds(device, {{"email", a}, {"alias", c}}, [&] { return TARVKOVAAccountAuthen(a, b, c, value); });
  succeeds(device, {{"email", a}, {"passwd", b}}, [&] { return TARVKOVAAccountLogin(a, b, value, false); });
  succeeds(device, {{"passwd", b}, {"full_name", c}}, [&] { return TARVKOVAAccountRegister(a, b, c, true); });
  succeeds(device, {{"passwd", c}, {"passwd_new", a}, {"country", b}},
           [&] { return TARVKOVAAccountSetInfo(a, b, c, a, b, c, a, 1, 0, -1, b); });
  succeeds(device, {}, [] { return TARVKOVAReportInfo(); });
  succeeds(device, {}, [] { return TARVKOVAAccountIsUnified_C(); });
  check(succeeds(device, {}, [] { return TARVKOVAAccountLogout(); }) != exists(device.at("/etc/kova.conf")));

  device.write("/etc/kova.conf", parts[3]);
  check(TARVKOVAAccountScanExisting(value) == 0);
  check(TARVKOVAAbandonUnmerged({}) == 0 && device.abandoned == servicesOf(value));
  device.abandoned.clear();
  hooks::state().replies = {{"good"}};
  if (TARVKOVAAccountMigrate(c, "secret", merged) < 0) return;
  value.removeMember(c);
  for (const Json::Value &account : merged)
    value.removeMember(account["email"].isConvertibleTo(Json::stringValue) ? account["email"].asString() : "");
  check(device.abandoned == servicesOf(value));
}
