#include "platform/device.h"

#include <kova/platform.h>

#include <cstddef>

#include "base/text.h"
#include "platform/key_file.h"
#include "platform/last_error.h"

namespace kova::platform {
namespace {

constexpr std::string_view kDeviceFile = "/etc.defaults/kovadevice.conf";
constexpr std::string_view kCustomSerial = "custom_serial";
constexpr std::string_view kFactorySerial = "serial";
// Callers read the serial numbers into buffers of these sizes, so the service knows them cut to these.
constexpr std::size_t kCustomSerialSize = 31;
constexpr std::size_t kFactorySerialSize = 36;

int copyEntry(char *buffer, std::size_t size, std::string_view key) {
  require(buffer != nullptr && size > 0);
  const std::optional<std::string> text = deviceEntry(key);
  if (!text) throw Failure{TLIBC_ERR_NOT_FOUND};
  copyText(buffer, size, *text);
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
using kova::copyText;

int TLIBGetCustomSerialNumber(char *buffer, std::size_t size) {
  return withLastError(-1, [&] { return copyEntry(buffer, size, kCustomSerial); });
}

int TLIBGetSerialNumber(char *buffer, std::size_t size) {
  return withLastError(-1, [&] { return copyEntry(buffer, size, kFactorySerial); });
}

int TLIBVxinfoUserAgentGet(const char *package, char *buffer, std::size_t size) {
  return withLastError(-1, [&] {
    require(package != nullptr && buffer != nullptr && size > 0);
    std::optional<std::string> agent = deviceEntry("user_agent");
    if (!agent) agent = std::string(package) + "/" KOVA_VERSION;
    // A control character would break the request header that this becomes.
    for (const unsigned char c : *agent) {
      if (c < ' ' || c == 0x7F) throw Failure{TLIBC_ERR_BAD_VALUE};
    }
    copyText(buffer, size, *agent);
    return 0;
  });
}
