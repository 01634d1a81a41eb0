// Text for a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Json {
class Value;
}

namespace kova::cli {

// The UTF-8 text with a question mark for each thing that a terminal would act on or cannot show: control characters,
// overrides of the writing direction, bytes that are no UTF-8.
std::string printable(std::string_view text);

// The columns that a printable text takes.
std::size_t displayWidth(std::string_view text);

// A printable text cut to `width` columns; an ellipsis shows the cut.
std::string cut(std::string_view text, std::size_t width);

// The text without white space at its end.
std::string_view trimmed(std::string_view text);

// A value for people: text and numbers as they are, booleans as "yes" and "no", null as nothing, else JSON.
std::string textOf(const Json::Value &value);

// The same with "none" for what is empty.
std::string orNone(const Json::Value &value);

// One line of JSON, in ASCII.
std::string jsonLine(const Json::Value &value);

}  // namespace kova::cli
