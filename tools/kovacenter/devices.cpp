#include "kovacenter/devices.h"

#include <exception>

#include "base/json.h"
#include "kovacenter/digest.h"
#include "kovacenter/files.h"
#include "kovacenter/form.h"

namespace kova::center {
namespace {

// The platform leaves this record in its device root when it registers an API key.
constexpr const char *kEnrolment = "var/lib/kova/apikey.enrolled";
constexpr std::uintmax_t kEnrolmentLimit = 4096;

bool isEnrolled(const std::filesystem::path &root, std::string_view serial, std::string_view keyDigest) try {
  const std::filesystem::path file = root / kEnrolment;
  if (!std::filesystem::is_regular_file(file) || std::filesystem::file_size(file) > kEnrolmentLimit) return false;
  const std::optional<Json::Value> parsed = parseJsonObject(readFile(file));
  if (!parsed) return false;
  const Json::Value &record = *parsed;
  return record["serial"].asString() == serial && record["sha256"].asString() == keyDigest;
} catch (const std::exception &) {
  return false;
}

bool isEnrolledAnywhere(Database &store, std::string_view serial, std::string_view keyDigest) {
  Statement row = store.query("SELECT path FROM device_roots");
  while (row.step()) {
    if (isEnrolled(row.text(0), serial, keyDigest)) return true;
  }
  return false;
}

}  // namespace

void addDeviceRoot(Database &store, const std::filesystem::path &root) {
  store.run("INSERT OR IGNORE INTO device_roots VALUES (?)", root.string());
}

void admitDevice(Database &store, std::string_view serial, std::string_view apiKey, std::string_view mac) {
  const std::string digest = sha256Hex(apiKey);
  Statement known = store.query("SELECT 1 FROM devices WHERE serial = ? AND api_key = ?", serial, digest);
  if (!known.step() && !isEnrolledAnywhere(store, serial, digest)) {
    throw Refusal("apikey_not_found", "No device with this serial number has enrolled this API key");
  }
  store.run(
      "INSERT INTO devices (serial, mac, api_key) VALUES (?, ?, ?)"
      " ON CONFLICT (serial) DO UPDATE SET mac = excluded.mac, api_key = excluded.api_key",
      serial, mac, digest);
}

void setDeviceTimezone(Database &store, std::string_view serial, std::string_view timezone) {
  store.run(
      "INSERT INTO devices (serial, timezone) VALUES (?, ?)"
      " ON CONFLICT (serial) DO UPDATE SET timezone = excluded.timezone",
      serial, timezone);
}

std::string issueAuthKey(Database &store, const Account &account, std::string_view serial) {
  std::string key = randomHex(16);
  store.run("INSERT INTO auth_keys (key, serial, account) VALUES (?, ?, ?)", sha256Hex(key), serial, account.id);
  return key;
}

std::optional<Account> accountOfAuthKey(Database &store, std::string_view kovaId, std::string_view serial,
                                        std::string_view authKey) {
  std::optional<Account> account = findAccountByKovaId(store, kovaId);
  if (!account) return std::nullopt;
  Statement row = store.query("SELECT 1 FROM auth_keys WHERE key = ? AND serial = ? AND account = ?",
                              sha256Hex(authKey), serial, account->id);
  if (!row.step()) return std::nullopt;
  return account;
}

void revokeAuthKeys(Database &store, const Account &account, std::string_view serial) {
  store.run("DELETE FROM auth_keys WHERE account = ? AND serial = ?", account.id, serial);
}

void revokeAuthKeys(Database &store, const Account &account) {
  store.run("DELETE FROM auth_keys WHERE account = ?", account.id);
}

}  // namespace kova::center
