// What the service answers to a request.
#pragma once

#include <json/value.h>

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "kovacenter/accounts.h"
#include "kovacenter/database.h"
#include "kovacenter/form.h"

namespace kova::center {

// The service's own settings.
struct Rules {
  int64_t registerLimit = 5;
  bool registerUnverified = false;
};

struct Request {
  std::string host;
  std::string method;
  std::string path;
  std::string form;  // as received: the query of a GET, else the body
};

struct Reply {
  int status = 200;
  std::string contentType = "text/plain";
  std::string body;
  std::string location;
};

// A request whose device fields were found right.
struct Call {
  SQLite::Database &database;
  const Rules &rules;
  const Form &form;
  std::string serial;
};

// An action answers with its result's members; a Refusal ends it, and undoes it.
using Action = Json::Value (*)(Call &call);
using Actions = std::map<std::string_view, Action>;

const Actions &dnsauthActions();
const Actions &accountActions();
const Actions &queryActions();

// The account that "kova_id" and "auth_key" stand for.
Account signedInAccount(Call &call);
// The text of a clear password, as the service keeps and compares it.
std::string needPasswordMd5(const Call &call);
// A device token among the action's own parameters.
void checkToken(const Call &call);

Reply judge(SQLite::Database &database, const Rules &rules, const Request &request);

}  // namespace kova::center
