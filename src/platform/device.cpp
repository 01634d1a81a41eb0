#include "platform/device.h"

#include "platform/key_file.h"
#include "platform/last_error.h"
#include "platform/text.h"

namespace kova::platform {
namespace {

constexpr std::string_view kDeviceFile = "/etc.defaults/kovadevice.conf";
constexpr std::string_view kCustomSerial = "custom_serial";
constexpr std::string_view kFactorySerial = "serial";
// The sizes at which callers read them, which is what the service gets to see.
constexpr size_t kCustomSerialSize = 31;
constexpr size_t kFactorySerialSize = 36;

int copyEntry(std::string_view key, char *buffer, size_t size) {
  require(buffer != nullptr && size > 0);
  const std::optional<std::string> text = deviceEntry(key);
  if (!text) throw Failure{TLIBC_ERR_NOT_FOUND};
  copyText(*text, buffer, size);
  return 0;
}

}  // namespace

std::optional<std::string> deviceEntry(std::string_view key) {
  std::optional<std::string> text = readKey(kDeviceFile, key);
  if (text && text->empty()) text.reset();
  return text;
}

std::string serialNumber() {
  if (const auto custom = deviceEntry(kCustomSerial)) return custom->substr(0, kCustomSerialSize - 1);
  if (const auto factory = deviceEntry(kFactorySerial)) return factory->substr(0, kFactorySerialSize - 1);
  throw Failure{TLIBC_ERR_NOT_FOUND};
}

}  // namespace kova::platform

using namespace kova::platform;

int TLIBGetCustomSerialNumber(char *buffer, size_t size) {
  return guarded(-1, [&] { return copyEntry(kCustomSerial, buffer, size); });
}

int TLIBGetSerialNumber(char *buffer, size_t size) {
  return guarded(-1, [&] { return copyEntry(kFactorySerial, buffer, size); });
}

int TLIBVxinfoUserAgentGet(const char *package, char *buffer, size_t size) {
  return guarded(-1, [&] {
    require(package != nullptr && buffer != nullptr && size > 0);
    std::optional<std::string> agent = deviceEntry("user_agent");
    if (!agent) agent = std::string(package) + "/" KOVA_VERSION;
    // It becomes a line of a request's header.
    for (const unsigned char c : *agent) {
      if (c < ' ' || c == 0x7F) throw Failure{TLIBC_ERR_BAD_VALUE};
    }
    copyText(*agent, buffer, size);
    return 0;
  });
}
