// The device's logs whose lines are JSON objects.
#pragma once

#include <json/value.h>

#include <string>
#include <string_view>

namespace kova::platform {

// A text of any bytes as JSON: each byte that does not belong to a UTF-8 character becomes U+FFFD.
Json::Value jsonText(std::string_view text);

// The present time in ISO 8601, UTC.
std::string timestamp();

// Appends a line to a log of the device, which is made (mode 0600), with its directory, where it is missing. The log
// takes the whole line or nothing of it, and is a regular file, not a symbolic link to one.
void appendLine(std::string_view log, const Json::Value &object);

}  // namespace kova::platform
