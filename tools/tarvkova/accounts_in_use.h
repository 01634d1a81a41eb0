// The accounts that the services of this device use, by the names that the services give them.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "tarvkova/outcome.h"

namespace kova::cli {

// The library's scan takes a file that it cannot read as one without an account. Throws Failure where there is one.
void requireReadableSources();

// The library's scan: an object whose members are the accounts.
Json::Value scanAccounts();

// Whether `name`, as a user types it, means this account of the scan. The account's name may end in a line break.
bool isSameAccount(const std::string &name, const std::string &account);

// The failure where the library could not store that this device is unified.
Failure notMarkedFailure(const std::string &message);

// A table of the accounts, their services and what these call the device. For the library, a name with a line break at
// its end is another account: the table says so where the name without it is there too, in `accounts` or in `others`.
std::string accountTable(const Json::Value &accounts, const std::vector<std::string> &others = {});

// The names of the accounts.
Json::Value accountNames(const Json::Value &accounts);
// The types of all services of the accounts, in the order in which the hooks are told.
Json::Value serviceTypes(const Json::Value &accounts);

// Asks on the terminal whether the services are to let go of these accounts. Throws Failure unless the answer is yes.
void confirmAbandoning(const Json::Value &accounts);

}  // namespace kova::cli
