#include "kovacenter/management.h"

#include <chrono>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "base/utc_time.h"
#include "common/terminal_text.h"
#include "kovacenter/accounts.h"
#include "kovacenter/auth_keys.h"
#include "kovacenter/database.h"
#include "kovacenter/digest.h"
#include "kovacenter/faults.h"
#include "kovacenter/password.h"
#include "kovacenter/purchases.h"
#include "kovacenter/state.h"

namespace kova::center {
namespace {

Account existingAccount(SQLite::Database &database, const std::string &email) {
  std::optional<Account> account = findAccount(database, email);
  if (!account) throw std::invalid_argument("no account has the e-mail address " + email);
  return *account;
}

}  // namespace

void createAccount(const State &state, Account account, const std::filesystem::path &passwordFile) {
  if (!looksLikeEmail(account.email)) throw std::invalid_argument("not an e-mail address: " + account.email);
  const std::string password = readPassword(passwordFile);
  SQLite::Database database = openDatabase(state.database());
  SQLite::Transaction transaction = beginTransaction(database);
  if (findAccount(database, account.email)) throw std::invalid_argument(account.email + " has an account already");
  addAccount(database, account, password);
  transaction.commit();
}

void listAccounts(const State &state) {
  SQLite::Database database = openDatabase(state.database());
  std::cout << std::left;
  for (const Account &account : allAccounts(database)) {
    std::cout << account.kovaId() << "  " << std::setw(32) << printable(account.email) << "  " << std::setw(10)
              << (account.verified ? "verified" : "unverified") << "  " << printable(account.fullName) << "\n";
  }
}

void changeAccount(const State &state, const std::string &email, const AccountChanges &changes) {
  SQLite::Database database = openDatabase(state.database());
  SQLite::Transaction transaction = beginTransaction(database);
  Account account = existingAccount(database, email);
  account.verified = changes.verified.value_or(account.verified);
  account.disabled = changes.disabled.value_or(account.disabled);
  account.revokeOnPasswordChange = changes.revokeOnPasswordChange.value_or(account.revokeOnPasswordChange);
  account.alias = changes.alias.value_or(account.alias);
  account.ddns = changes.ddns.value_or(account.ddns);
  saveAccount(database, account);
  transaction.commit();
}

void revokeAccount(const State &state, const std::string &email) {
  SQLite::Database database = openDatabase(state.database());
  revokeAuthKeys(database, existingAccount(database, email).id);
}

void recordPurchase(const State &state, const std::string &email, Purchase purchase) {
  if (!purchase.createdAt.empty() && !looksLikeDate(purchase.createdAt)) {
    throw std::invalid_argument("a date is YYYY-MM-DD or YYYY-MM-DD HH:MM:SS");
  }
  if (purchase.createdAt.empty()) purchase.createdAt = utcText(std::chrono::system_clock::now(), "%Y-%m-%d %H:%M:%S");
  if (purchase.createdAt.size() == std::string_view("YYYY-MM-DD").size()) purchase.createdAt += " 00:00:00";
  if (purchase.transactionId.empty()) purchase.transactionId = randomHex(8);
  SQLite::Database database = openDatabase(state.database());
  if (!addPurchase(database, existingAccount(database, email), purchase)) {
    throw std::invalid_argument("the transaction is recorded already");
  }
}

void seedPurchases(const State &state, const std::string &email, unsigned count) {
  SQLite::Database database = openDatabase(state.database());
  SQLite::Transaction transaction = beginTransaction(database);
  const Account account = existingAccount(database, email);
  for (const Purchase &purchase : makeHistory(account, count)) addPurchase(database, account, purchase);
  transaction.commit();
}

void createFault(const State &state, const Fault &fault) {
  SQLite::Database database = openDatabase(state.database());
  addFault(database, fault);
}

void listFaults(const State &state) {
  SQLite::Database database = openDatabase(state.database());
  std::cout << std::left;
  for (const Fault &fault : allFaults(database)) {
    std::cout << fault.remaining << "x  " << std::setw(14) << (fault.script.empty() ? "any script" : fault.script)
              << std::setw(14) << (fault.action.empty() ? "any action" : printable(fault.action)) << nameOf(fault.kind);
    if (fault.number > 0) std::cout << " " << fault.number;
    if (!fault.text.empty()) std::cout << " " << printable(fault.text);
    std::cout << "\n";
  }
}

void deleteFaults(const State &state) {
  SQLite::Database database = openDatabase(state.database());
  clearFaults(database);
}

}  // namespace kova::center
