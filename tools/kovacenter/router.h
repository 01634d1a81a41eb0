// The way from a request to the script and action that it names, and from their result to the reply.
#pragma once

#include "kovacenter/database.h"
#include "kovacenter/message.h"
#include "kovacenter/rules.h"

namespace kova::center {

Reply replyTo(SQLite::Database &database, const Rules &rules, const Request &request);

}  // namespace kova::center
