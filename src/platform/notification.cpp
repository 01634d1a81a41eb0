#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "base/json.h"
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

Notification readNotification(std::string_view name) {
  const std::optional<Json::Value> catalogue = parseJsonObject(readFile(devicePath(kCatalogue)));
  if (!catalogue) throw Failure{TLIBC_ERR_DECODE_FAILED};
  const Json::Value *entry = catalogue->find(name.data(), name.data() + name.size());
  if (entry == nullptr) throw Failure{TLIBC_ERR_NOT_FOUND};
  const auto text = [&](const char *member) {
    if (!entry->isObject() || !(*entry)[member].isString()) throw Failure{TLIBC_ERR_DECODE_FAILED};
    return (*entry)[member].asString();
  };
  return {text("subject"), text("text")};
}

// The text with its placeholders filled in. A placeholder within what is filled in stays as it is.
std::string filled(std::string_view text, const TLIBCSzHash &parameters) {
  std::string result;
  while (true) {
    const std::size_t start = text.find('%');
    result += text.substr(0, start);
    if (start == std::string::npos) return result;
    text.remove_prefix(start);
    const std::size_t end = text.find('%', 1);
    const auto *parameter = end != std::string::npos ? parameters.find(text.substr(0, end + 1)) : nullptr;
    result += parameter != nullptr ? std::string_view(parameter->value) : "%";
    text.remove_prefix(parameter != nullptr ? end + 1 : 1);
  }
}

}  // namespace
}  // namespace kova::platform

using namespace kova::platform;

int TARVSysNotifySendNotifiction(const char *name, const TLIBCSzHash *parameters) {
  return withLastError(-1, [&] {
    require(name != nullptr && parameters != nullptr);
    const Notification notification = readNotification(name);
    Json::Value record;
    record["time"] = timestamp();
    record["name"] = jsonText(name);
    record["subject"] = jsonText(filled(notification.subject, *parameters));
    record["text"] = jsonText(filled(notification.text, *parameters));
    appendLine("/var/log/kova/notifications.jsonl", record);
    return 0;
  });
}
