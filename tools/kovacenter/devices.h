// The devices in the database, with their API keys.
#pragma once

#include <filesystem>
#include <string>

#include "kovacenter/database.h"

namespace kova::center {

// From here on, an API key that was enrolled in the device root is accepted.
void addDeviceRoot(SQLite::Database &database, const std::filesystem::path &root);

// Recognises the device by its API key, and stores its MAC address. Throws a Refusal: apikey_not_found.
void admitDevice(SQLite::Database &database, const std::string &serial, const std::string &apiKey,
                 const std::string &mac);

void setDeviceTimezone(SQLite::Database &database, const std::string &serial, const std::string &timezone);

}  // namespace kova::center
