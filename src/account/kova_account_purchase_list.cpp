#include <kova/account.h>
#include <kova/error.h>
#include <kova/services.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string>

#include "core/guard.h"
#include "core/handles.h"
#include "core/json.h"
#include "core/log.h"
#include "transport/exchange.h"

namespace kova {
namespace {

std::string JoinJsonArray(const Json::Value &array) {
  std::string joined;
  for (Json::ArrayIndex i = 0; i < array.size(); ++i) {
    if (i > 0) joined += ',';
    const SecretText text = textOf(array[i]);
    joined.append(text, 0, text.find('\0'));  // a NUL ends this element, not the list
  }
  return joined;
}

// A filter that is not an array counts as none.
void setFilter(Exchange &exchange, const char *key, const Json::Value &filter) {
  if (filter.isArray()) exchange.setParameter(key, JoinJsonArray(filter).c_str());
}

void setDates(Exchange &exchange, const char *from, const char *to) {
  if (from == nullptr && to == nullptr) return;
  const std::string dates = std::string(from != nullptr ? from : "") + "," + (to != nullptr ? to : "");
  exchange.setParameter("dates", dates.c_str());
}

// The members of a purchase: their names for callers and in the service's entries.
struct Member {
  const char *name;
  const char *nameInEntry;
};
constexpr Member kMembers[] = {
    {"date", "create_at"}, {"item", "app"},      {"buyer_id", "paypal_id"}, {"transaction_id", "transaction_id"},
    {"model", "model"},    {"serial", "serial"}, {"price", "price"},        {"pay_status", "pay_status"},
};

// Turns an entry of the reply into a purchase. This is done in place, as making a new object for each of many entries
// takes half as long as parsing them did. What an entry lacks is null.
void makeLog(Json::Value &entry) {
  if (!entry.isObject()) entry = Json::Value(Json::objectValue);
  for (const auto &[name, nameInEntry] : kMembers) {
    Json::Value &value = entry[name];
    const bool isRenamed = std::strcmp(name, nameInEntry) != 0;
    if (isRenamed && !entry.removeMember(nameInEntry, &value)) value = Json::Value();
  }
  Json::Value &price = entry["price"];
  if (price.type() != Json::realValue) price = numberOf(price);
  if (entry.size() == std::size(kMembers)) return;
  // The other members are removed by the length of their names, which may hold a NUL.
  Json::Value removed;
  for (const std::string &name : entry.getMemberNames()) {
    if (std::ranges::find(kMembers, name, &Member::name) != std::end(kMembers)) continue;
    entry.removeMember(name.data(), name.data() + name.size(), &removed);
  }
}

Json::Value takeLogs(Json::Value &reply) {
  Json::Value logs(Json::arrayValue);
  if (!hasMember(reply, "entries") || !reply["entries"].isArray()) return logs;
  logs.swap(reply["entries"]);
  for (Json::Value &entry : logs) makeLog(entry);
  return logs;
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAAccountPurchaseList(const char *language, const char *dateFrom, const char *dateTo, const Json::Value &apps,
                                const Json::Value &serials, const Json::Value &prices, const Json::Value &paypals,
                                Json::Value &result) {
  return guarded([&] {
    TARVKOVAErrSet(KOVA_SUCCESS);
    if (language == nullptr || result.isNull()) return fail(here(), KOVA_ERR_BAD_PARAMETERS, "Bad parameter");
    const AccountRecord account = makeAccountRecord();
    Exchange exchange;
    if (exchange.readAccount(*account) < 0 || exchange.readServerConfig() < 0 || exchange.readSerialNumber() < 0 ||
        exchange.allocateParameters() < 0)
      return -1;
    exchange.setParameter("action", "get_history");
    exchange.setParameter("kova_id", account->kovaIDSerial);
    exchange.setParameter("auth_key", account->vx_auth_key);
    exchange.setParameter("serial", exchange.serialNumber());
    exchange.setParameter("language", language);
    setDates(exchange, dateFrom, dateTo);
    setFilter(exchange, "apps", apps);
    setFilter(exchange, "serials", serials);
    setFilter(exchange, "prices", prices);
    setFilter(exchange, "paypals", paypals);
    Json::Value reply;
    if (exchange.send({exchange.firstUrl(), "api/query.php"}) < 0 || exchange.parseReply(reply) < 0) return -1;
    if (!hasMember(reply, "code")) return fail(KOVA_ERR_RESPONSE);
    if (mapResult(reply) != KOVA_SUCCESS) {
      log(here(), "Failed to query purchase info, resp=%s", exchange.body());
      return -1;
    }
    Json::Value logs = takeLogs(reply);
    Json::Value purchases(Json::objectValue);
    purchases["total"] = logs.size();
    purchases["offset"] = 0;
    purchases["logs"].swap(logs);
    result.swap(purchases);
    return 0;
  });
}
