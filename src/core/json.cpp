#include "core/json.h"

#include <fcntl.h>
#include <json/reader.h>
#include <json/writer.h>
#include <string.h>  // explicit_bzero
#include <sys/stat.h>

#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <utility>

#include "base/descriptor.h"
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
  const DevicePath onThisMachine(path);
  const Descriptor file(retried([&] { return open(onThisMachine.c_str(), kReadFlags); }));
  struct stat status = {};
  if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode)) return false;
  SecretText text;
  return readAll(file, text) && parseJson(value, text.c_str());
}

const Json::Value &member(const Json::Value &value, const char *name) {
  return value.isObject() ? value[name] : Json::Value::nullSingleton();
}

bool hasMember(const Json::Value &value, const char *name) {
  return value.isObject() && value.isMember(name);
}

SecretText textOf(const Json::Value &value) {
  const char *begin = nullptr;
  const char *end = nullptr;
  if (value.getString(&begin, &end)) return {begin, end};
  return SecretText(value.isConvertibleTo(Json::stringValue) ? value.asString() : std::string());
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

AuthKeyWipedAtEnd::~AuthKeyWipedAtEnd() {
  const char *begin = nullptr;
  const char *end = nullptr;
  if (!member(value_, "auth_key").getString(&begin, &end)) return;
  explicit_bzero(const_cast<char *>(begin), static_cast<std::size_t>(end - begin));
}

std::string compactText(const Json::Value &value) {
  Json::StreamWriterBuilder writer;
  writer["indentation"] = "";
  writer["commentStyle"] = "None";
  return Json::writeString(writer, value);
}

}  // namespace kova
