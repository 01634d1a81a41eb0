#include "kovacenter/judge.h"

#include <algorithm>
#include <cctype>
#include <iostream>
#include <iterator>
#include <optional>

#include "base/json.h"
#include "kovacenter/devices.h"
#include "kovacenter/digest.h"
#include "kovacenter/hosts.h"

namespace kova::center {
namespace {

constexpr std::size_t kLongestSerial = 255;

struct Script {
  std::string_view path;
  HostKind host;
  const Actions &(*actions)();
  bool bareWord;  // it answers with the result word alone, not with JSON
};

constexpr Script kScripts[] = {
    {"/dnsauth.php", HostKind::kService, dnsauthActions, false},
    {"/account.php", HostKind::kService, accountActions, true},
    {"/api/query.php", HostKind::kFirst, queryActions, false},
};

Reply render(const Script &script, std::string_view word, Json::Value members) {
  if (script.bareWord) return {200, "text/html", std::string(word), {}};
  members["code"] = std::string(word);
  return {200, "application/json", jsonLine(members), {}};
}

// Every request begins with the device's serial number and token.
std::string judgeDevice(const Form &form) {
  const auto &pairs = form.pairs();
  if (pairs.size() < 2 || pairs[0].first != "vx_sn" || pairs[1].first != "vx_token") {
    throw Refusal("badparam", "The request does not begin with vx_sn and vx_token");
  }
  const std::string &serial = pairs[0].second;
  const bool starts = !serial.empty() && std::isalnum(static_cast<unsigned char>(serial[0])) != 0;
  if (!starts || serial.size() > kLongestSerial) throw badParameter("vx_sn");
  if (!sameSecret(pairs[1].second, deviceToken(serial))) throw Refusal("badauth", "The device token is wrong");
  if (form.need("serial") != serial) throw badParameter("serial");
  return serial;
}

Json::Value act(SQLite::Database &database, const Rules &rules, const Script &script, const Request &request) {
  const Form form(request.form);
  std::string serial = judgeDevice(form);
  const Actions &actions = script.actions();
  const auto action = actions.find(form.need("action"));
  if (action == actions.end()) throw badParameter("action");

  SQLite::Transaction transaction = beginTransaction(database);
  Call call{database, rules, form, std::move(serial)};
  Json::Value members = action->second(call);
  transaction.commit();
  return members;
}

}  // namespace

Account signedInAccount(Call &call) {
  const std::string &kovaId = call.form.needText("kova_id");
  const std::string &authKey = call.form.needText("auth_key");
  std::optional<Account> account = accountOfAuthKey(call.database, kovaId, call.serial, authKey);
  if (!account) throw Refusal("badauth", "The auth key is not good for this account and device");
  return *account;
}

std::string needPasswordMd5(const Call &call) {
  return md5Hex(call.form.needText("passwd"));
}

void checkToken(const Call &call) {
  if (!sameSecret(call.form.needText("token"), deviceToken(call.serial))) {
    throw Refusal("badauth", "The device token is wrong");
  }
}

Reply judge(SQLite::Database &database, const Rules &rules, const Request &request) {
  const auto *script = std::ranges::find(kScripts, request.path, &Script::path);
  if (script == std::end(kScripts) || kindOfHost(request.host) != script->host)
    return {404, "text/plain", "Not found\n", {}};
  if (request.method != "POST" && request.method != "GET") return {405, "text/plain", "Method not allowed\n", {}};
  try {
    return render(*script, "good", act(database, rules, *script, request));
  } catch (const Refusal &refusal) {
    Json::Value members;
    members["message"] = refusal.what();
    return render(*script, refusal.word(), members);
  } catch (const std::exception &error) {
    std::cerr << "kovacenter: " << error.what() << std::endl;
    return render(*script, "badsys", Json::Value());
  }
}

}  // namespace kova::center
