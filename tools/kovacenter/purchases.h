// The purchases in the database.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kovacenter/accounts.h"
#include "kovacenter/database.h"

namespace kova::center {

struct Purchase {
  std::string createdAt;  // "YYYY-MM-DD HH:MM:SS"
  std::string app;
  std::string paypalId;
  std::string transactionId;
  std::string model;
  std::string serial;
  int64_t cents = 0;
  std::string payStatus;
};

// What a purchase must match; an empty member matches all.
struct PurchaseFilter {
  std::string from;  // a date, with or without a time; both ends belong to the range
  std::string to;
  std::vector<std::string> apps;
  std::vector<std::string> serials;
  std::vector<int64_t> cents;
  std::vector<std::string> paypalIds;
};

// "YYYY-MM-DD" or "YYYY-MM-DD HH:MM:SS".
bool looksLikeDate(std::string_view text);

// Oldest first.
std::vector<Purchase> findPurchases(SQLite::Database &database, const Account &account, const PurchaseFilter &filter);

// False where the transaction is recorded already.
bool addPurchase(SQLite::Database &database, const Account &account, const Purchase &purchase);

void movePurchases(SQLite::Database &database, const Account &to, const Account &from);

// Makes up `count` purchases. Made up again for the same account, they have the same transaction identifiers.
std::vector<Purchase> makeHistory(const Account &account, unsigned count);

}  // namespace kova::center
