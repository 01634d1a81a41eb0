// The actions of each script.
#pragma once

#include <json/value.h>

#include <map>
#include <string_view>

#include "kovacenter/call.h"

namespace kova::center {

// An action returns the members of its result. What it has changed is undone where it throws.
using Action = Json::Value (*)(const Call &call);
using Actions = std::map<std::string_view, Action>;

const Actions &dnsauthActions();
const Actions &accountActions();
const Actions &queryActions();

}  // namespace kova::center
