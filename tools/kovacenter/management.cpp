// Commands over the store: accounts, purchases, faults.
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iomanip>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "kovacenter/auth_keys.h"
#include "kovacenter/clock.h"
#include "kovacenter/commands.h"
#include "kovacenter/database.h"
#include "kovacenter/digest.h"
#include "kovacenter/files.h"

namespace kova::center {
namespace {

// Keeps the terminal from showing what is typed, until it ends or a signal ends the program.
class Silence {
 public:
  Silence() {
    tcgetattr(STDIN_FILENO, &before_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
      if (std::signal(signal, restoreAndRaise) == SIG_IGN) std::signal(signal, SIG_IGN);
    }
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
  }
  ~Silence() { restore(); }
  Silence(const Silence &) = delete;
  Silence &operator=(const Silence &) = delete;

 private:
  static void restore() { tcsetattr(STDIN_FILENO, TCSAFLUSH, &before_); }
  static void restoreAndRaise(int signal) {
    restore();
    std::signal(signal, SIG_DFL);
    raise(signal);
  }

  inline static termios before_{};  // where a signal's handler finds it
};

std::string readPassword(const std::filesystem::path &file) {
  std::string password;
  if (!file.empty()) {
    password = readFile(file);
    password.resize(std::min(password.find('\n'), password.size()));
  } else if (isatty(STDIN_FILENO) != 0) {
    std::cerr << "Password: " << std::flush;
    const Silence silence;
    std::getline(std::cin, password);
    std::cerr << std::endl;
  } else {
    std::getline(std::cin, password);
  }
  if (password.empty()) throw std::invalid_argument("the password is empty");
  return password;
}

Account accountNamed(SQLite::Database &database, const std::string &email) {
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
    std::cout << account.kovaId() << "  " << std::setw(32) << account.email << "  " << std::setw(10)
              << (account.verified ? "verified" : "unverified") << "  " << account.fullName << "\n";
  }
}

void changeAccount(const State &state, const std::string &email, const AccountChanges &changes) {
  SQLite::Database database = openDatabase(state.database());
  SQLite::Transaction transaction = beginTransaction(database);
  Account account = accountNamed(database, email);
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
  revokeAuthKeys(database, accountNamed(database, email).id);
}

void recordPurchase(const State &state, const std::string &email, Purchase purchase) {
  if (!purchase.createdAt.empty() && !looksLikeDate(purchase.createdAt)) {
    throw std::invalid_argument("a date is YYYY-MM-DD or YYYY-MM-DD HH:MM:SS");
  }
  if (purchase.createdAt.empty()) purchase.createdAt = utcText(std::chrono::system_clock::now(), "%Y-%m-%d %H:%M:%S");
  if (purchase.createdAt.size() == std::string_view("YYYY-MM-DD").size()) purchase.createdAt += " 00:00:00";
  if (purchase.transactionId.empty()) purchase.transactionId = randomHex(8);
  SQLite::Database database = openDatabase(state.database());
  if (!addPurchase(database, accountNamed(database, email), purchase)) {
    throw std::invalid_argument("the transaction is recorded already");
  }
}

void seedPurchases(const State &state, const std::string &email, unsigned count) {
  SQLite::Database database = openDatabase(state.database());
  SQLite::Transaction transaction = beginTransaction(database);
  const Account account = accountNamed(database, email);
  for (const Purchase &purchase : plausibleHistory(account, count)) addPurchase(database, account, purchase);
  transaction.commit();
}

void orderFault(const State &state, const Fault &fault) {
  SQLite::Database database = openDatabase(state.database());
  addFault(database, fault);
}

void listFaults(const State &state) {
  SQLite::Database database = openDatabase(state.database());
  std::cout << std::left;
  for (const Fault &fault : allFaults(database)) {
    std::cout << fault.remaining << "x  " << std::setw(14) << (fault.script.empty() ? "any script" : fault.script)
              << std::setw(14) << (fault.action.empty() ? "any action" : fault.action) << nameOf(fault.kind);
    if (fault.number > 0) std::cout << " " << fault.number;
    if (!fault.text.empty()) std::cout << " " << fault.text;
    std::cout << "\n";
  }
}

void forgetFaults(const State &state) {
  SQLite::Database database = openDatabase(state.database());
  clearFaults(database);
}

}  // namespace kova::center
