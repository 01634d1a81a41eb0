#include "kovacenter/database.h"

#include <fcntl.h>

#include <cerrno>
#include <exception>
#include <stdexcept>

#include "kovacenter/files.h"

namespace kova::center {
namespace {

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

// Makes the file, for its mode, where there is none. One that is there is not opened: closing it again would drop the
// locks that SQLite holds on it in this process.
void createPrivate(const std::filesystem::path &file) {
  const Descriptor created(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!created && errno != EEXIST) throwErrno(file.string());
}

}  // namespace

Statement::Statement(sqlite3 *connection, std::string_view sql) {
  sqlite3_stmt *statement = nullptr;
  const int result = sqlite3_prepare_v2(connection, sql.data(), static_cast<int>(sql.size()), &statement, nullptr);
  statement_.reset(statement);
  if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(connection));
}

void Statement::check(int result) const {
  if (result != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(sqlite3_db_handle(statement_.get())));
}

bool Statement::step() {
  const int result = sqlite3_step(statement_.get());
  if (result == SQLITE_ROW) return true;
  if (result != SQLITE_DONE) check(result);
  return false;
}

std::string Statement::text(int column) const {
  const auto *text = reinterpret_cast<const char *>(sqlite3_column_text(statement_.get(), column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

int64_t Statement::integer(int column) const {
  return sqlite3_column_int64(statement_.get(), column);
}

void Statement::bindOne(int index, std::string_view value) {
  check(sqlite3_bind_text64(statement_.get(), index, value.data() == nullptr ? "" : value.data(), value.size(),
                            SQLITE_TRANSIENT, SQLITE_UTF8));
}

void Statement::bindOne(int index, int64_t value) {
  check(sqlite3_bind_int64(statement_.get(), index, value));
}

Database::Database(const std::filesystem::path &file) {
  createPrivate(file);
  sqlite3 *connection = nullptr;
  const int result = sqlite3_open_v2(file.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr);
  connection_.reset(connection);
  if (result != SQLITE_OK) throw std::runtime_error(file.string() + ": " + sqlite3_errstr(result));
  sqlite3_busy_timeout(connection, 10000);
  run("PRAGMA journal_mode = WAL");
  run("PRAGMA synchronous = NORMAL");
  run("PRAGMA foreign_keys = ON");
  Transaction transaction(*this);
  for (const char *statement : kSchema) run(statement);
  transaction.commit();
}

Transaction::Transaction(Database &database) : database_(database) {
  database_.run("BEGIN IMMEDIATE");
}

Transaction::~Transaction() {
  if (!open_) return;
  try {
    database_.run("ROLLBACK");
  } catch (const std::exception &) {
    // SQLite has rolled back by itself.
  }
}

void Transaction::commit() {
  database_.run("COMMIT");
  open_ = false;
}

}  // namespace kova::center
