// JSON as the project itself writes it, and the objects that it reads from files.
#pragma once

#include <json/reader.h>
#include <json/value.h>
#include <json/writer.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace kova {

// The JSON object that `text` is; nothing where it is anything else or nests too deeply.
inline std::optional<Json::Value> parseJsonObject(std::string_view text) {
  Json::CharReaderBuilder builder;
  builder["collectComments"] = false;
  const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
  std::optional<Json::Value> value(std::in_place);
  try {
    const bool isParsed = reader->parse(text.data(), text.data() + text.size(), &*value, nullptr);
    if (!isParsed || !value->isObject()) value.reset();
  } catch (const Json::Exception &) {
    value.reset();
  }
  return value;
}

// The value as one line of JSON in ASCII, without a line end.
inline std::string jsonLine(const Json::Value &value) {
  Json::StreamWriterBuilder builder;
  builder["indentation"] = "";
  builder["commentStyle"] = "None";
  builder["precision"] = 15;  // decimal fractions come out as they were written
  return Json::writeString(builder, value);
}

}  // namespace kova
