// Text for a terminal.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kova::cli {

// The UTF-8 text with a question mark in place of whatever a terminal would act on or cannot show: control characters,
// overrides of the writing direction, bytes that are not UTF-8.
std::string printable(std::string_view text);

// The columns that a printable text takes.
std::size_t displayWidth(std::string_view text);

// A printable text, cut to `width` columns; an ellipsis shows that it was cut.
std::string cutToWidth(std::string_view text, std::size_t width);

std::string_view withoutTrailingSpace(std::string_view text);

// A value for people: text and numbers as they are, booleans as "yes" and "no", null as the empty text, the rest as
// JSON. The result may hold what printable() replaces.
std::string displayText(const Json::Value &value);

// The same with "none" for what is empty.
std::string displayTextOrNone(const Json::Value &value);

}  // namespace kova::cli
