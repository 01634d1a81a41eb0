// JSON values as text for people.
#pragma once

#include <json/value.h>

#include <string>

namespace kova::cli {

// Text and numbers as they are, booleans as "yes" and "no", null as the empty text, the rest as JSON. The result may
// hold what printable() replaces.
std::string displayText(const Json::Value &value);

// The same with "none" for what is empty.
std::string displayTextOrNone(const Json::Value &value);

}  // namespace kova::cli
