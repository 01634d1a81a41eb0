#include "kovacenter/router.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <exception>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "base/json.h"
#include "kovacenter/actions.h"
#include "kovacenter/call.h"
#include "kovacenter/diagnostic.h"
#include "kovacenter/digest.h"
#include "kovacenter/form.h"
#include "kovacenter/hosts.h"
#include "kovacenter/refusal.h"

namespace kova::center {
namespace {

constexpr std::size_t kLongestSerial = 255;

struct Script {
  std::string_view path;
  HostKind host;
  const Actions &(*actions)();
  bool repliesWithWordAlone;  // without JSON around it
};

constexpr Script kScripts[] = {
    {"/dnsauth.php", HostKind::kService, dnsauthActions, false},
    {"/account.php", HostKind::kService, accountActions, true},
    {"/api/query.php", HostKind::kFirst, queryActions, false},
};

Reply makeReply(const Script &script, std::string_view word, Json::Value members) {
  if (script.repliesWithWordAlone) return {200, "text/html", std::string(word), {}};
  members["code"] = std::string(word);
  return {200, "application/json", jsonLine(members), {}};
}

// Checks the serial number and the token that every request begins with; returns the serial number.
std::string checkDevice(const Form &form) {
  const auto &pairs = form.pairs();
  if (pairs.size() < 2 || pairs[0].first != "vx_sn" || pairs[1].first != "vx_token") {
    throw Refusal("badparam", "The request does not begin with vx_sn and vx_token");
  }
  const std::string &serial = pairs[0].second;
  const bool startsWell = !serial.empty() && std::isalnum(static_cast<unsigned char>(serial[0])) != 0;
  if (!startsWell || serial.size() > kLongestSerial) throw badParameter("vx_sn");
  if (!sameSecret(pairs[1].second, deviceToken(serial))) throw Refusal("badauth", "The device token is wrong");
  if (form.need("serial") != serial) throw badParameter("serial");
  return serial;
}

// Runs the action that the request names; returns the members of its result.
Json::Value runAction(SQLite::Database &database, const Rules &rules, const Script &script, const Request &request) {
  const Form form(request.form);
  std::string serial = checkDevice(form);
  const Actions &actions = script.actions();
  const auto action = actions.find(form.need("action"));
  if (action == actions.end()) throw badParameter("action");

  SQLite::Transaction transaction = beginTransaction(database);
  Json::Value members = action->second({database, rules, form, std::move(serial)});
  transaction.commit();
  return members;
}

}  // namespace

Reply replyTo(SQLite::Database &database, const Rules &rules, const Request &request) {
  const auto *script = std::ranges::find(kScripts, request.path, &Script::path);
  if (script == std::end(kScripts) || kindOfHost(request.host) != script->host) {
    return {404, "text/plain", "Not found\n", {}};
  }
  if (request.method != "POST" && request.method != "GET") return {405, "text/plain", "Method not allowed\n", {}};
  try {
    return makeReply(*script, "good", runAction(database, rules, *script, request));
  } catch (const Refusal &refusal) {
    Json::Value members;
    members["message"] = refusal.what();
    return makeReply(*script, refusal.word(), members);
  } catch (const std::exception &error) {
    writeDiagnostic(error.what());
    return makeReply(*script, "badsys", Json::Value());
  }
}

}  // namespace kova::center
