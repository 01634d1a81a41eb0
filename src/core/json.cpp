#include "core/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <charconv>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>
#include <utility>

#include "core/device_path.h"

namespace kova {

bool parseJson(Json::Value &value, const char *text) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  Json::Reader reader;
#pragma GCC diagnostic pop
  Json::Value parsed;
  try {
    if (!reader.parse(text, text + std::strlen(text), parsed, true)) return false;
  } catch (const Json::Exception &) {
    return false;  // nested more deeply than the reader allows
  }
  value = std::move(parsed);
  return true;
}

bool parseJsonFile(Json::Value &value, const char *path) {
  std::error_code error;
  const std::filesystem::path file = DevicePath(path).c_str();
  if (!std::filesystem::is_regular_file(file, error)) return false;
  std::ifstream stream(file, std::ios::binary);
  const std::string text{std::istreambuf_iterator<char>(stream), {}};
  return stream.is_open() && parseJson(value, text.c_str());
}

const Json::Value &member(const Json::Value &value, const char *name) {
  return value.isObject() ? value[name] : Json::Value::nullSingleton();
}

bool hasMember(const Json::Value &value, const char *name) {
  return value.isObject() && value.isMember(name);
}

std::string textOf(const Json::Value &value) {
  return value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string();
}

bool truthOf(const Json::Value &value) {
  return value.isConvertibleTo(Json::booleanValue) && value.asBool();
}

double numberOf(const Json::Value &value) {
  double number = 0;
  if (value.isString()) {
    const std::string text = value.asString();
    const char *end = text.data() + text.size();
    const bool isWhole = std::from_chars(text.data(), end, number).ptr == end;
    if (!isWhole || !std::isfinite(number)) number = 0;
  } else if (value.isConvertibleTo(Json::realValue)) {
    number = value.asDouble();
  }
  return number;
}

std::string compactText(const Json::Value &value) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["commentStyle"] = "None";
  return Json::writeString(writer, value);
}

}  // namespace kova
