#include "kovacenter/accounts.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <system_error>

#include "kovacenter/auth_keys.h"
#include "kovacenter/digest.h"
#include "kovacenter/refusal.h"

namespace kova::center {
namespace {

constexpr int64_t kFirstKovaId = 10000000;

constexpr std::string_view kSelect =
    "SELECT id, email, full_name, country, timezone, notify_language, critical_versions, alias, ddns, registered_by,"
    " verified, disabled, enews, critical_release, enews_local_promotion, revoke_on_password_change FROM accounts";

Account accountOf(const SQLite::Statement &row) {
  const auto text = [&](int column) { return row.getColumn(column).getString(); };
  const auto flag = [&](int column) { return row.getColumn(column).getInt() != 0; };
  Account account;
  account.id = row.getColumn(0).getInt64();
  account.email = text(1);
  account.fullName = text(2);
  account.country = text(3);
  account.timezone = text(4);
  account.notifyLanguage = text(5);
  account.criticalVersions = text(6);
  account.alias = text(7);
  account.ddns = text(8);
  account.registeredBy = text(9);
  account.verified = flag(10);
  account.disabled = flag(11);
  account.enews = flag(12);
  account.criticalRelease = flag(13);
  account.enewsLocalPromotion = flag(14);
  account.revokeOnPasswordChange = flag(15);
  return account;
}

template <class Value>
std::optional<Account> findWhere(SQLite::Database &database, std::string_view condition, const Value &value) {
  SQLite::Statement row = prepare(database, std::string(kSelect).append(condition), value);
  if (!row.executeStep()) return std::nullopt;
  return accountOf(row);
}

void storePassword(SQLite::Database &database, const Account &account, std::string_view password) {
  const std::string salt = randomHex(16);
  execute(database, "UPDATE accounts SET salt = ?, password = ? WHERE id = ?", salt, slowDigest(md5Hex(password), salt),
          account.id);
}

Account needAccount(SQLite::Database &database, const std::string &email) {
  std::optional<Account> account = findAccount(database, email);
  if (!account) throw Refusal("account_not_found", "No account has this e-mail address");
  return *account;
}

void checkVerified(const Account &account) {
  if (!account.verified) throw Refusal("account_unverified", "The e-mail address is not verified yet");
}

}  // namespace

std::string Account::kovaId() const {
  return std::to_string(kFirstKovaId + id);
}

const std::vector<std::string> &releases() {
  static const std::vector<std::string> releases = {"6.2", "7.0", "7.1", "7.2"};
  return releases;
}

bool looksLikeEmail(std::string_view text) {
  const std::size_t at = text.find('@');
  if (at == 0 || at == std::string::npos || at + 1 == text.size() || text.size() > 254) return false;
  if (text.find('@', at + 1) != std::string::npos) return false;
  return std::ranges::all_of(text, [](char c) {
    return static_cast<unsigned char>(c) > ' ' && c != 0x7f &&
           std::string_view("\"\\<>(),;:").find(c) == std::string::npos;
  });
}

std::optional<Account> findAccount(SQLite::Database &database, const std::string &email) {
  return findWhere(database, " WHERE email = ?", email);
}

std::optional<Account> findAccountByKovaId(SQLite::Database &database, std::string_view kovaId) {
  int64_t number = 0;
  const auto [end, error] = std::from_chars(kovaId.data(), kovaId.data() + kovaId.size(), number);
  if (error != std::errc() || end != kovaId.data() + kovaId.size() || number < kFirstKovaId) return std::nullopt;
  return findWhere(database, " WHERE id = ?", number - kFirstKovaId);
}

std::vector<Account> allAccounts(SQLite::Database &database) {
  std::vector<Account> accounts;
  SQLite::Statement row = prepare(database, std::string(kSelect) + " ORDER BY email");
  while (row.executeStep()) accounts.push_back(accountOf(row));
  return accounts;
}

int64_t countRegisteredBy(SQLite::Database &database, const std::string &serial) {
  SQLite::Statement row = prepare(database, "SELECT count(*) FROM accounts WHERE registered_by = ?", serial);
  row.executeStep();
  return row.getColumn(0).getInt64();
}

void addAccount(SQLite::Database &database, Account &account, std::string_view password) {
  execute(database, "INSERT INTO accounts VALUES (NULL, ?, '', '', '', '', '', '', '', '', '', '', 0, 0, 0, 0, 0, 0)",
          account.email);
  account.id = database.getLastInsertRowid();
  saveAccount(database, account);
  storePassword(database, account, password);
}

void saveAccount(SQLite::Database &database, const Account &account) {
  execute(database,
          "UPDATE accounts SET email = ?, full_name = ?, country = ?, timezone = ?, notify_language = ?,"
          " critical_versions = ?, alias = ?, ddns = ?, registered_by = ?, verified = ?, disabled = ?, enews = ?,"
          " critical_release = ?, enews_local_promotion = ?, revoke_on_password_change = ? WHERE id = ?",
          account.email, account.fullName, account.country, account.timezone, account.notifyLanguage,
          account.criticalVersions, account.alias, account.ddns, account.registeredBy, account.verified,
          account.disabled, account.enews, account.criticalRelease, account.enewsLocalPromotion,
          account.revokeOnPasswordChange, account.id);
}

void removeAccount(SQLite::Database &database, const Account &account) {
  execute(database, "DELETE FROM accounts WHERE id = ?", account.id);
}

bool passwordMatches(SQLite::Database &database, const Account &account, std::string_view passwordMd5) {
  SQLite::Statement row = prepare(database, "SELECT salt, password FROM accounts WHERE id = ?", account.id);
  return row.executeStep() &&
         sameSecret(slowDigest(passwordMd5, row.getColumn(0).getString()), row.getColumn(1).getString());
}

void changePassword(SQLite::Database &database, const Account &account, std::string_view password) {
  storePassword(database, account, password);
  if (account.revokeOnPasswordChange) revokeAuthKeys(database, account.id);
}

Account signIn(SQLite::Database &database, const std::string &email, std::string_view passwordMd5) {
  Account account = needAccount(database, email);
  if (!passwordMatches(database, account, passwordMd5)) throw Refusal("badauth", "The password is wrong");
  checkVerified(account);
  return account;
}

Account signInWithoutPassword(SQLite::Database &database, const std::string &email) {
  Account account = needAccount(database, email);
  checkVerified(account);
  return account;
}

}  // namespace kova::center
