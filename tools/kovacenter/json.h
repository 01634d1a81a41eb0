// JSON text.
#pragma once

#include <json/value.h>

#include <string>

namespace kova::center {

// An object; throws when the text is none.
Json::Value readJsonObject(const std::string &text);

// One line, without a line end.
std::string writeJson(const Json::Value &value);

}  // namespace kova::center
