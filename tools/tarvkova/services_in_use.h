// The accounts that the services of this device use, by the names that the services give them.
#pragma once

#include <json/value.h>

#include <string>
#include <vector>

namespace kova::cli {

// The library's scan.
Json::Value scanAccounts();

// Whether `name`, as a user types it, means the account of the scan: its name may end in a line break.
bool means(const std::string &name, const std::string &account);

// A table of the accounts, their services and what these call the device. The library takes a name with a line end for
// another account: the table says so where the name without it is there too, here or among the others.
std::string tableOf(const Json::Value &accounts, const std::vector<std::string> &others = {});

// The names of the accounts, and the types of all their services in the order in which hooks are told.
Json::Value namesOf(const Json::Value &accounts);
Json::Value typesOf(const Json::Value &accounts);

// Asks on the terminal whether the services are to let go of these accounts; a Failure unless the answer is yes.
void confirmLettingGo(const Json::Value &accounts);

}  // namespace kova::cli
