// The devices in the database, with their API keys and auth keys.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "kovacenter/accounts.h"
#include "kovacenter/database.h"

namespace kova::center {

// Makes a device root known: the API keys enrolled in it will be accepted.
void addDeviceRoot(SQLite::Database &database, const std::filesystem::path &root);

// Recognises the device by its API key and notes its MAC address. Throws a Refusal: apikey_not_found.
void admitDevice(SQLite::Database &database, const std::string &serial, const std::string &apiKey,
                 const std::string &mac);

void setDeviceTimezone(SQLite::Database &database, const std::string &serial, const std::string &timezone);

// Issues one more auth key; earlier ones stay good, for the device may only have checked a password.
std::string issueAuthKey(SQLite::Database &database, const Account &account, const std::string &serial);

// The account that a device's auth key stands for.
std::optional<Account> accountOfAuthKey(SQLite::Database &database, const std::string &kovaId,
                                        const std::string &serial, const std::string &authKey);

// Ends the auth keys of one device, or all of the account's.
void revokeAuthKeys(SQLite::Database &database, const Account &account, const std::string &serial);
void revokeAuthKeys(SQLite::Database &database, const Account &account);

}  // namespace kova::center
