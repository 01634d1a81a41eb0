// The auth keys in the database. Each lets one device act for one account, which is given by its id in the database.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "kovacenter/database.h"

namespace kova::center {

// Issues one more auth key. Earlier keys stay valid: a device that only checks a password goes on using its own.
std::string issueAuthKey(SQLite::Database &database, int64_t account, const std::string &serial);

bool isAuthKey(SQLite::Database &database, int64_t account, const std::string &serial, std::string_view key);

// Ends the auth keys that one device has for the account.
void revokeAuthKeys(SQLite::Database &database, int64_t account, const std::string &serial);
// Ends all auth keys of the account.
void revokeAuthKeys(SQLite::Database &database, int64_t account);

}  // namespace kova::center
