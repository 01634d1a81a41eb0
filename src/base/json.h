// JSON as the project itself writes it, and the objects that it reads from files.
#pragma once

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <cstddef>
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

// The value as one line of JSON in ASCII without control characters, and without a line end.
inline std::string jsonLine(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["commentStyle"] = "None";
  builder["precision"] = 15;  // decimal fractions come out as they were written
  std::string line = Json::writeString(builder, value);
  // The library leaves this one control character as it is.
  for (std::size_t at = 0; (at = line.find('\x7F', at)) != std::string::npos;) line.replace(at, 1, "\\u007f");
  return line;
}

}  // namespace kova
