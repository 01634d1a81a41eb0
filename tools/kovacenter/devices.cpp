#include "kovacenter/devices.h"

#include <cstdint>
#include <exception>
#include <optional>
#include <string_view>

#include "base/json.h"
#include "kovacenter/digest.h"
#include "kovacenter/files.h"
#include "kovacenter/refusal.h"

namespace kova::center {
namespace {

// The platform leaves this record in its device root when it registers an API key.
constexpr const char *kEnrolment = "var/lib/kova/apikey.enrolled";
constexpr uintmax_t kEnrolmentLimit = 4096;

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

bool isEnrolledAnywhere(SQLite::Database &database, std::string_view serial, std::string_view keyDigest) {
  SQLite::Statement row = prepare(database, "SELECT path FROM device_roots");
  while (row.executeStep()) {
    if (isEnrolled(row.getColumn(0).getString(), serial, keyDigest)) return true;
  }
  return false;
}

}  // namespace

void addDeviceRoot(SQLite::Database &database, const std::filesystem::path &root) {
  execute(database, "INSERT OR IGNORE INTO device_roots VALUES (?)", root.string());
}

void admitDevice(SQLite::Database &database, const std::string &serial, const std::string &apiKey,
                 const std::string &mac) {
  const std::string digest = sha256Hex(apiKey);
  SQLite::Statement known = prepare(database, "SELECT 1 FROM devices WHERE serial = ? AND api_key = ?", serial, digest);
  if (!known.executeStep() && !isEnrolledAnywhere(database, serial, digest)) {
    throw Refusal("apikey_not_found", "No device with this serial number has enrolled this API key");
  }
  execute(database,
          "INSERT INTO devices (serial, mac, api_key) VALUES (?, ?, ?)"
          " ON CONFLICT (serial) DO UPDATE SET mac = excluded.mac, api_key = excluded.api_key",
          serial, mac, digest);
}

void setDeviceTimezone(SQLite::Database &database, const std::string &serial, const std::string &timezone) {
  execute(database,
          "INSERT INTO devices (serial, timezone) VALUES (?, ?)"
          " ON CONFLICT (serial) DO UPDATE SET timezone = excluded.timezone",
          serial, timezone);
}

}  // namespace kova::center
