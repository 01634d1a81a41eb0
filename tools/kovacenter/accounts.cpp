#include "kovacenter/accounts.h"

#include <algorithm>
#include <charconv>
#include <system_error>

#include "kovacenter/devices.h"
#include "kovacenter/digest.h"
#include "kovacenter/form.h"

namespace kova::center {
namespace {

constexpr int64_t kFirstKovaId = 10000000;

constexpr std::string_view kSelect =
    "SELECT id, email, full_name, country, timezone, notify_language, critical_versions, alias, ddns, registered_by,"
    " verified, disabled, enews, critical_release, enews_local_promotion, revoke_on_password_change FROM accounts";

Account accountOf(const Statement &row) {
  Account account;
  account.id = row.integer(0);
  account.email = row.text(1);
  account.fullName = row.text(2);
  account.country = row.text(3);
  account.timezone = row.text(4);
  account.notifyLanguage = row.text(5);
  account.criticalVersions = row.text(6);
  account.alias = row.text(7);
  account.ddns = row.text(8);
  account.registeredBy = row.text(9);
  account.verified = row.integer(10) != 0;
  account.disabled = row.integer(11) != 0;
  account.enews = row.integer(12) != 0;
  account.criticalRelease = row.integer(13) != 0;
  account.enewsLocalPromotion = row.integer(14) != 0;
  account.revokeOnPasswordChange = row.integer(15) != 0;
  return account;
}

template <class Value>
std::optional<Account> findWhere(Database &store, std::string_view condition, const Value &value) {
  Statement row = store.query(std::string(kSelect).append(condition), value);
  if (!row.step()) return std::nullopt;
  return accountOf(row);
}

void storePassword(Database &store, const Account &account, std::string_view password) {
  const std::string salt = randomHex(16);
  store.run("UPDATE accounts SET salt = ?, password = ? WHERE id = ?", salt, slowDigest(md5Hex(password), salt),
            account.id);
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
  if (at == 0 || at == std::string_view::npos || at + 1 == text.size() || text.size() > 254) return false;
  if (text.find('@', at + 1) != std::string_view::npos) return false;
  return std::ranges::all_of(text, [](char c) {
    return static_cast<unsigned char>(c) > ' ' && c != 0x7f &&
           std::string_view("\"\\<>(),;:").find(c) == std::string_view::npos;
  });
}

std::optional<Account> findAccount(Database &store, std::string_view email) {
  return findWhere(store, " WHERE email = ?", email);
}

std::optional<Account> findAccountByKovaId(Database &store, std::string_view kovaId) {
  int64_t number = 0;
  const char *end = kovaId.data() + kovaId.size();
  const auto [parsed, error] = std::from_chars(kovaId.data(), end, number);
  if (error != std::errc() || parsed != end || number < kFirstKovaId) return std::nullopt;
  return findWhere(store, " WHERE id = ?", number - kFirstKovaId);
}

std::vector<Account> allAccounts(Database &store) {
  std::vector<Account> accounts;
  Statement row = store.query(std::string(kSelect) + " ORDER BY email");
  while (row.step()) accounts.push_back(accountOf(row));
  return accounts;
}

int64_t countRegisteredBy(Database &store, std::string_view serial) {
  Statement row = store.query("SELECT count(*) FROM accounts WHERE registered_by = ?", serial);
  row.step();
  return row.integer(0);
}

void addAccount(Database &store, Account &account, std::string_view password) {
  store.run("INSERT INTO accounts VALUES (NULL, ?, '', '', '', '', '', '', '', '', '', '', 0, 0, 0, 0, 0, 0)",
            account.email);
  account.id = store.lastInsertId();
  saveAccount(store, account);
  storePassword(store, account, password);
}

void saveAccount(Database &store, const Account &account) {
  store.run(
      "UPDATE accounts SET email = ?, full_name = ?, country = ?, timezone = ?, notify_language = ?,"
      " critical_versions = ?, alias = ?, ddns = ?, registered_by = ?, verified = ?, disabled = ?, enews = ?,"
      " critical_release = ?, enews_local_promotion = ?, revoke_on_password_change = ? WHERE id = ?",
      account.email, account.fullName, account.country, account.timezone, account.notifyLanguage,
      account.criticalVersions, account.alias, account.ddns, account.registeredBy, int64_t{account.verified},
      int64_t{account.disabled}, int64_t{account.enews}, int64_t{account.criticalRelease},
      int64_t{account.enewsLocalPromotion}, int64_t{account.revokeOnPasswordChange}, account.id);
}

void removeAccount(Database &store, const Account &account) {
  store.run("DELETE FROM accounts WHERE id = ?", account.id);
}

bool passwordMatches(Database &store, const Account &account, std::string_view passwordMd5) {
  Statement row = store.query("SELECT salt, password FROM accounts WHERE id = ?", account.id);
  return row.step() && sameSecret(slowDigest(passwordMd5, row.text(0)), row.text(1));
}

void changePassword(Database &store, const Account &account, std::string_view password) {
  storePassword(store, account, password);
  if (account.revokeOnPasswordChange) revokeAuthKeys(store, account);
}

Account signIn(Database &store, std::string_view email, std::string_view passwordMd5) {
  std::optional<Account> account = findAccount(store, email);
  if (!account) throw Refusal("account_not_found", "No account has this e-mail address");
  if (!passwordMatches(store, *account, passwordMd5)) throw Refusal("badauth", "The password is wrong");
  if (!account->verified) throw Refusal("account_unverified", "The e-mail address is not verified yet");
  return *account;
}

}  // namespace kova::center
