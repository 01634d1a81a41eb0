// What an action works on, and the checks that several actions share.
#pragma once

#include <string>

#include "kovacenter/accounts.h"
#include "kovacenter/database.h"
#include "kovacenter/form.h"
#include "kovacenter/rules.h"

namespace kova::center {

// A request whose serial number and device token are valid.
struct Call {
  SQLite::Database &database;
  const Rules &rules;
  const Form &form;
  std::string serial;
};

// These throw a Refusal where the request does not pass.

// The account that "kova_id" and "auth_key" stand for.
Account signedInAccount(const Call &call);
// The MD5 text of the clear password in "passwd", which is what the service compares.
std::string needPasswordMd5(const Call &call);
// Checks the device token that some actions take a second time, as "token".
void checkToken(const Call &call);

}  // namespace kova::center
