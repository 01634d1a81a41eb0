// JSON as the project itself writes it, and the objects that it reads from files.
#pragma once

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kova {

// Reads the JSON object that `text` is. False, with `value` filled in part, where the text is anything else or nests
// too deeply.
inline bool parseJsonObject(Json::Value &value, std::string_view text) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  try {
    return reader->parse(text.data(), text.data() + text.size(), &value, nullptr) && value.isObject();
  } catch (const Json::Exception &) {
    return false;
  }
}

// The same; nothing where the text is not an object.
inline std::optional<Json::Value> parseJsonObject(std::string_view text) {
  std::optional<Json::Value> value(std::in_place);
  if (!parseJsonObject(*value, text)) value.reset();
  return value;
}

// What makes writers of values as one line in ASCII, without a line end.
inline Json::StreamWriterBuilder jsonLineWriters() {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["commentStyle"] = "None";
  builder["precision"] = 15;  // decimal fractions come out as they were written
  return builder;
}

// Escapes the one control character that these writers leave as it is.
inline std::string withDelEscaped(std::string json) {
  constexpr char kDel = '\x7F';
  if (json.find(kDel) == std::string::npos) return json;
  std::string escaped;
  for (const char c : json) escaped.append(c == kDel ? "\\u007f" : std::string_view(&c, 1));
  return escaped;
}

// The value as one line of JSON in ASCII without control characters, and without a line end.
inline std::string jsonLine(const Json::Value &value) {
  return withDelEscaped(Json::writeString(jsonLineWriters(), value));
}

}  // namespace kova
