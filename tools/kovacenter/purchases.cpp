#include "kovacenter/purchases.h"

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <iterator>
#include <utility>

#include "base/utc_time.h"
#include "kovacenter/digest.h"

namespace kova::center {
namespace {

template <class Value>
bool isAmong(const std::vector<Value> &wanted, const Value &value) {
  return wanted.empty() || std::ranges::find(wanted, value) != wanted.end();
}

bool matches(const PurchaseFilter &filter, const Purchase &purchase) {
  return purchase.createdAt >= filter.from && purchase.createdAt.substr(0, filter.to.size()) <= filter.to &&
         isAmong(filter.apps, purchase.app) && isAmong(filter.serials, purchase.serial) &&
         isAmong(filter.cents, purchase.cents) && isAmong(filter.paypalIds, purchase.paypalId);
}

// Whether the text has a digit wherever the pattern has a "0", and is otherwise equal to it.
bool hasShape(std::string_view text, std::string_view pattern) {
  return std::ranges::equal(text, pattern,
                            [](char c, char shape) { return shape == '0' ? c >= '0' && c <= '9' : c == shape; });
}

}  // namespace

bool looksLikeDate(std::string_view text) {
  return hasShape(text, "0000-00-00") || hasShape(text, "0000-00-00 00:00:00");
}

std::vector<Purchase> findPurchases(SQLite::Database &database, const Account &account, const PurchaseFilter &filter) {
  std::vector<Purchase> purchases;
  SQLite::Statement row =
      prepare(database,
              "SELECT created_at, app, paypal_id, transaction_id, model, serial, cents, pay_status FROM purchases"
              " WHERE account = ? ORDER BY created_at, transaction_id",
              account.id);
  while (row.executeStep()) {
    Purchase purchase = row.getColumns<Purchase, 8>();
    if (matches(filter, purchase)) purchases.push_back(std::move(purchase));
  }
  return purchases;
}

bool addPurchase(SQLite::Database &database, const Account &account, const Purchase &purchase) {
  return execute(database,
                 "INSERT OR IGNORE INTO purchases (transaction_id, account, created_at, app, paypal_id, model, serial,"
                 " cents, pay_status) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?)",
                 purchase.transactionId, account.id, purchase.createdAt, purchase.app, purchase.paypalId,
                 purchase.model, purchase.serial, purchase.cents, purchase.payStatus) > 0;
}

void movePurchases(SQLite::Database &database, const Account &to, const Account &from) {
  execute(database, "UPDATE purchases SET account = ? WHERE account = ?", to.id, from.id);
}

std::vector<Purchase> makeHistory(const Account &account, unsigned count) {
  struct Offer {
    const char *app;
    int64_t cents;
  };
  static constexpr Offer kOffers[] = {{"Antivirus by McAfee", 2999},
                                      {"Camera License Pack", 5495},
                                      {"Mail License Pack", 25000},
                                      {"Storage Subscription", 6999},
                                      {"Remote Desktop", 1499}};
  static constexpr const char *kModels[] = {"TV218", "TV420", "TV920"};
  static constexpr const char *kPayStatuses[] = {"Completed", "Completed", "Completed", "Refunded", "Pending"};

  static constexpr std::chrono::sys_days kFirstDay = std::chrono::year(2021) / 1 / 1;

  // One in thirty days, or more where they would otherwise reach into the future.
  const auto past = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::system_clock::now() - kFirstDay);
  const std::chrono::seconds interval =
      std::min<std::chrono::seconds>(std::chrono::days(30), past / std::max(count, 1U));

  std::vector<Purchase> history;
  history.reserve(count);
  for (unsigned i = 0; i < count; ++i) {
    const std::string seed = sha256Hex(account.email + "#" + std::to_string(i));
    const auto pick = [&](std::size_t place, unsigned choices) {
      return static_cast<unsigned>(std::stoul(seed.substr(place, 6), nullptr, 16)) % choices;
    };
    const std::chrono::seconds delay(pick(0, static_cast<unsigned>(interval.count())));
    const Offer &offer = kOffers[i % std::size(kOffers)];
    Purchase purchase;
    purchase.createdAt = utcText(kFirstDay + i * interval + delay, "%Y-%m-%d %H:%M:%S");
    purchase.app = offer.app;
    purchase.paypalId = "PAYER" + sha256Hex(account.email).substr(0, 8);
    purchase.transactionId = seed.substr(0, 17);
    purchase.model = kModels[pick(24, std::size(kModels))];
    purchase.serial = "2150" + sha256Hex(account.email + purchase.model).substr(0, 9);
    purchase.cents = offer.cents;
    purchase.payStatus = kPayStatuses[pick(30, std::size(kPayStatuses))];
    history.push_back(std::move(purchase));
  }
  return history;
}

}  // namespace kova::center
