// The devices in the store, with their API keys and auth keys.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "kovacenter/accounts.h"
#include "kovacenter/database.h"

namespace kova::center {

// Makes a device root known: the API keys enrolled in it will be accepted.
void addDeviceRoot(Database &store, const std::filesystem::path &root);

// Recognises the device by its API key and notes its MAC address. Throws a Refusal: apikey_not_found.
void admitDevice(Database &store, std::string_view serial, std::string_view apiKey, std::string_view mac);

void setDeviceTimezone(Database &store, std::string_view serial, std::string_view timezone);

// Issues one more auth key; earlier ones stay good, for the device may only have checked a password.
std::string issueAuthKey(Database &store, const Account &account, std::string_view serial);

// The account that a device's auth key stands for.
std::optional<Account> accountOfAuthKey(Database &store, std::string_view kovaId, std::string_view serial,
                                        std::string_view authKey);

// Ends the auth keys of one device, or all of the account's.
void revokeAuthKeys(Database &store, const Account &account, std::string_view serial);
void revokeAuthKeys(Database &store, const Account &account);

}  // namespace kova::center
