// Finds the script and the action that a request names, and makes the reply from the action's result.
#pragma once

#include "kovacenter/database.h"
#include "kovacenter/message.h"
#include "kovacenter/rules.h"

namespace kova::center {

Reply replyTo(SQLite::Database &database, const Rules &rules, const Request &request);

}  // namespace kova::center
