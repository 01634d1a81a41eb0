#include "tarvkova/display_text.h"

#include "base/json.h"

namespace kova::cli {

std::string displayText(const Json::Value &value) {
  if (value.isNull()) return {};
  if (value.isBool()) return value.asBool() ? "yes" : "no";
  return value.isArray() || value.isObject() ? jsonLine(value) : value.asString();
}

std::string displayTextOrNone(const Json::Value &value) {
  const std::string text = displayText(value);
  return text.empty() ? "none" : text;
}

}  // namespace kova::cli
