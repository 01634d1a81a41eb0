// The accounts in the database.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kovacenter/database.h"

namespace kova::center {

struct Account {
  int64_t id = 0;
  std::string email;
  std::string fullName;
  std::string country;
  std::string timezone;
  std::string notifyLanguage;
  std::string criticalVersions;  // those of releases() that were chosen, joined by commas
  std::string alias;             // relay name; empty: none
  std::string ddns;              // dynamic DNS host; empty: none
  std::string registeredBy;      // serial number of the device that registered it; empty: it was added here
  bool verified = true;
  bool disabled = false;
  bool enews = false;
  bool criticalRelease = false;
  bool enewsLocalPromotion = false;
  bool revokeOnPasswordChange = false;

  std::string kovaId() const;
};

// The releases that an account can choose to be informed of.
const std::vector<std::string> &releases();

bool looksLikeEmail(std::string_view text);

std::optional<Account> findAccount(SQLite::Database &database, const std::string &email);
std::optional<Account> findAccountByKovaId(SQLite::Database &database, std::string_view kovaId);
std::vector<Account> allAccounts(SQLite::Database &database);
int64_t countRegisteredBy(SQLite::Database &database, const std::string &serial);

// Adds the account and gives it its id.
void addAccount(SQLite::Database &database, Account &account, std::string_view password);
void saveAccount(SQLite::Database &database, const Account &account);
// Its auth keys and purchases are removed with it.
void removeAccount(SQLite::Database &database, const Account &account);

bool passwordMatches(SQLite::Database &database, const Account &account, std::string_view passwordMd5);
// Also revokes the account's auth keys, where the account is set to that.
void changePassword(SQLite::Database &database, const Account &account, std::string_view password);

// The account of this address and password. Throws a Refusal: account_not_found, badauth, account_unverified.
Account signIn(SQLite::Database &database, const std::string &email, std::string_view passwordMd5);
// The account of this address, for a device that proves itself otherwise. Throws a Refusal: account_not_found,
// account_unverified.
Account signInWithoutPassword(SQLite::Database &database, const std::string &email);

}  // namespace kova::center
