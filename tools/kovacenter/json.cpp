#include "kovacenter/json.h"

#include <json/reader.h>
#include <json/writer.h>

#include <memory>
#include <stdexcept>

namespace kova::center {

Json::Value readJsonObject(const std::string &text) {
  const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
  Json::Value value;
  if (!reader->parse(text.data(), text.data() + text.size(), &value, nullptr) || !value.isObject()) {
    throw std::runtime_error("not a JSON object");
  }
  return value;
}

std::string writeJson(const Json::Value &value) {
  static const Json::StreamWriterBuilder builder = [] {
    Json::StreamWriterBuilder settings;
    settings["indentation"] = "";
    settings["precision"] = 15;
    return settings;
  }();
  return Json::writeString(builder, value);
}

}  // namespace kova::center
