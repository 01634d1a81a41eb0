#include "kovacenter/database.h"

#include <SQLiteCpp/Exception.h>
#include <fcntl.h>

#include <cerrno>
#include <stdexcept>

#include "base/descriptor.h"
#include "kovacenter/files.h"

namespace kova::center {
namespace {

constexpr int kBusyMilliseconds = 10000;

constexpr const char *kSchema[] = {
    "CREATE TABLE IF NOT EXISTS accounts ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, email TEXT NOT NULL UNIQUE COLLATE NOCASE,"
    " salt TEXT NOT NULL, password TEXT NOT NULL, full_name TEXT NOT NULL, country TEXT NOT NULL,"
    " timezone TEXT NOT NULL, notify_language TEXT NOT NULL, critical_versions TEXT NOT NULL,"
    " alias TEXT NOT NULL, ddns TEXT NOT NULL, registered_by TEXT NOT NULL,"
    " verified INTEGER NOT NULL, disabled INTEGER NOT NULL, enews INTEGER NOT NULL,"
    " critical_release INTEGER NOT NULL, enews_local_promotion INTEGER NOT NULL,"
    " revoke_on_password_change INTEGER NOT NULL)",
    "CREATE TABLE IF NOT EXISTS device_roots (path TEXT PRIMARY KEY)",
    "CREATE TABLE IF NOT EXISTS devices ("
    " serial TEXT PRIMARY KEY, mac TEXT NOT NULL DEFAULT '', timezone TEXT NOT NULL DEFAULT '',"
    " api_key TEXT NOT NULL DEFAULT '')",
    "CREATE TABLE IF NOT EXISTS auth_keys ("
    " key TEXT PRIMARY KEY, serial TEXT NOT NULL,"
    " account INTEGER NOT NULL REFERENCES accounts (id) ON DELETE CASCADE)",
    "CREATE TABLE IF NOT EXISTS purchases ("
    " transaction_id TEXT PRIMARY KEY, account INTEGER NOT NULL REFERENCES accounts (id) ON DELETE CASCADE,"
    " created_at TEXT NOT NULL, app TEXT NOT NULL, paypal_id TEXT NOT NULL, model TEXT NOT NULL,"
    " serial TEXT NOT NULL, cents INTEGER NOT NULL, pay_status TEXT NOT NULL)",
    "CREATE TABLE IF NOT EXISTS faults ("
    " id INTEGER PRIMARY KEY AUTOINCREMENT, script TEXT NOT NULL, action TEXT NOT NULL, kind TEXT NOT NULL,"
    " number INTEGER NOT NULL, text TEXT NOT NULL, remaining INTEGER NOT NULL)",
};

// Makes the file with its mode where it is missing. A file that exists is not opened: closing it again would drop the
// locks that SQLite holds on it in this process.
void createPrivate(const std::filesystem::path &file) {
  const Descriptor created(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!created && errno != EEXIST) throwErrno(file.string());
}

SQLite::Database connect(const std::filesystem::path &file) try {
  return SQLite::Database(file.c_str(), SQLite::OPEN_READWRITE, kBusyMilliseconds);
} catch (const SQLite::Exception &error) {
  throw std::runtime_error(file.string() + ": " + error.getErrorStr());
}

void createTables(SQLite::Database &database) {
  SQLite::Transaction transaction = beginTransaction(database);
  for (const char *statement : kSchema) database.exec(statement);
  transaction.commit();
}

}  // namespace

SQLite::Database openDatabase(const std::filesystem::path &file) {
  createPrivate(file);
  SQLite::Database database = connect(file);
  database.exec("PRAGMA journal_mode = WAL");
  database.exec("PRAGMA synchronous = NORMAL");
  database.exec("PRAGMA foreign_keys = ON");
  createTables(database);
  return database;
}

SQLite::Transaction beginTransaction(SQLite::Database &database) {
  return SQLite::Transaction(database, SQLite::TransactionBehavior::IMMEDIATE);
}

}  // namespace kova::center
