#include <json/reader.h>
#include <json/value.h>

#include <memory>
#include <string>
#include <string_view>

#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/json_lines.h"
#include "platform/last_error.h"
#include "platform/string_hash.h"

namespace kova::platform {
namespace {

constexpr std::string_view kCatalogue = "/usr/tarv/share/kova/notifications.conf";

struct Notification {
  std::string subject;
  std::string text;
};

Json::Value parseCatalogue(std::string_view text) {
  try {
    const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
    Json::Value catalogue;
    if (reader->parse(text.data(), text.data() + text.size(), &catalogue, nullptr) && catalogue.isObject()) {
      return catalogue;
    }
  } catch (const Json::Exception &) {  // nested too deeply
  }
  throw Failure{TLIBC_ERR_DECODE_FAILED};
}

Notification readNotification(std::string_view name) {
  const FileText file(devicePath(kCatalogue));
  const Json::Value catalogue = parseCatalogue(file.view());
  const Json::Value *entry = catalogue.find(name.data(), name.data() + name.size());
  if (entry == nullptr) throw Failure{TLIBC_ERR_NOT_FOUND};
  const auto text = [&](const char *member) {
    if (!entry->isObject() || !(*entry)[member].isString()) throw Failure{TLIBC_ERR_DECODE_FAILED};
    return (*entry)[member].asString();
  };
  return {text("subject"), text("text")};
}

// Goes through the text once, so that a placeholder within what is filled in stays as it is.
std::string filled(std::string_view text, const TLIBCSzHash &parameters) {
  std::string result;
  while (true) {
    const size_t start = text.find('%');
    result += text.substr(0, start);
    if (start == text.npos) return result;
    text.remove_prefix(start);
    const size_t end = text.find('%', 1);
    const auto *parameter = end != text.npos ? parameters.find(text.substr(0, end + 1)) : nullptr;
    result += parameter != nullptr ? std::string_view(parameter->value) : "%";
    text.remove_prefix(parameter != nullptr ? end + 1 : 1);
  }
}

}  // namespace
}  // namespace kova::platform

using namespace kova::platform;

int TARVSysNotifySendNotifiction(const char *name, const TLIBCSzHash *parameters) {
  return guarded(-1, [&] {
    require(name != nullptr && parameters != nullptr);
    const Notification notification = readNotification(name);
    appendLine("/var/log/kova/notifications.jsonl", JsonObject()
                                                        .add("time", timestamp())
                                                        .add("name", name)
                                                        .add("subject", filled(notification.subject, *parameters))
                                                        .add("text", filled(notification.text, *parameters))
                                                        .text());
    return 0;
  });
}
