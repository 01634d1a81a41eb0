// The actions of each script.
#pragma once

#include <json/value.h>

#include <map>
#include <string_view>

#include "kovacenter/call.h"

namespace kova::center {

// An action answers with its result's members; a Refusal ends it, and undoes it.
using Action = Json::Value (*)(const Call &call);
using Actions = std::map<std::string_view, Action>;

const Actions &dnsauthActions();
const Actions &accountActions();
const Actions &queryActions();

}  // namespace kova::center
