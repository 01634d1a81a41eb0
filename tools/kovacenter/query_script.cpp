// "api/query.php": the purchase history.
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "kovacenter/accounts.h"
#include "kovacenter/actions.h"
#include "kovacenter/call.h"
#include "kovacenter/form.h"
#include "kovacenter/purchases.h"
#include "kovacenter/refusal.h"

namespace kova::center {
namespace {

constexpr double kHighestPrice = 1e9;

std::vector<std::string> listParameter(const Form &form, std::string_view name) {
  const std::string *text = form.find(name);
  return text == nullptr ? std::vector<std::string>() : splitList(*text);
}

// The amounts of money in "prices", in cents.
std::vector<int64_t> pricesInCents(const Form &form) {
  std::vector<int64_t> cents;
  for (const std::string &text : listParameter(form, "prices")) {
    double price = 0;
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, price);
    if (error != std::errc() || rest != end || !(std::abs(price) < kHighestPrice)) throw badParameter("prices");
    cents.push_back(std::llround(price * 100));
  }
  return cents;
}

// "dates" is the first and the last date of the range; either may be empty.
void setDates(PurchaseFilter &filter, const Form &form) {
  const std::string *dates = form.find("dates");
  if (dates == nullptr) return;
  const std::size_t comma = dates->find(',');
  if (comma == std::string::npos) throw badParameter("dates");
  filter.from = dates->substr(0, comma);
  filter.to = dates->substr(comma + 1);
  for (const std::string &date : {filter.from, filter.to}) {
    if (!date.empty() && !looksLikeDate(date)) throw badParameter("dates");
  }
}

Json::Value getHistory(const Call &call) {
  const Account account = signedInAccount(call);
  PurchaseFilter filter;
  setDates(filter, call.form);
  filter.apps = listParameter(call.form, "apps");
  filter.serials = listParameter(call.form, "serials");
  filter.cents = pricesInCents(call.form);
  filter.paypalIds = listParameter(call.form, "paypals");

  Json::Value reply;
  Json::Value &entries = reply["entries"] = Json::arrayValue;
  for (const Purchase &purchase : findPurchases(call.database, account, filter)) {
    Json::Value entry;
    entry["create_at"] = purchase.createdAt;
    entry["app"] = purchase.app;
    entry["paypal_id"] = purchase.paypalId;
    entry["transaction_id"] = purchase.transactionId;
    entry["model"] = purchase.model;
    entry["serial"] = purchase.serial;
    entry["price"] = static_cast<double>(purchase.cents) / 100;
    entry["pay_status"] = purchase.payStatus;
    entries.append(std::move(entry));
  }
  return reply;
}

}  // namespace

const Actions &queryActions() {
  static const Actions actions = {{"get_history", getHistory}};
  return actions;
}

}  // namespace kova::center
