#include "kovacenter/auth_keys.h"

#include "kovacenter/digest.h"

namespace kova::center {

std::string issueAuthKey(SQLite::Database &database, int64_t account, const std::string &serial) {
  std::string key = randomHex(16);
  execute(database, "INSERT INTO auth_keys (key, serial, account) VALUES (?, ?, ?)", sha256Hex(key), serial, account);
  return key;
}

bool isAuthKey(SQLite::Database &database, int64_t account, const std::string &serial, std::string_view key) {
  return prepare(database, "SELECT 1 FROM auth_keys WHERE key = ? AND serial = ? AND account = ?", sha256Hex(key),
                 serial, account)
      .executeStep();
}

void revokeAuthKeys(SQLite::Database &database, int64_t account, const std::string &serial) {
  execute(database, "DELETE FROM auth_keys WHERE account = ? AND serial = ?", account, serial);
}

void revokeAuthKeys(SQLite::Database &database, int64_t account) {
  execute(database, "DELETE FROM auth_keys WHERE account = ?", account);
}

}  // namespace kova::center
