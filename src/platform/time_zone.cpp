#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "base/text.h"
#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/key_file.h"
#include "platform/last_error.h"
#include "platform/string_hash.h"

namespace kova::platform {
namespace {

constexpr std::string_view kZoneDirectory = "/usr/share/zoneinfo";

std::string zoneName() {
  try {
    const std::optional<std::string> setting = readKey(kInformationFile, "timezone");
    if (setting && !setting->empty()) return *setting;
  } catch (const Failure &) {
    // A file that cannot be read counts as one without the setting.
  }
  std::array<char, PATH_MAX> target;
  const ssize_t length = readlink(devicePath("/etc/localtime").c_str(), target.data(), target.size());
  const std::string_view path(target.data(), static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  constexpr std::string_view kBeforeName = "/zoneinfo/";
  const std::size_t found = path.rfind(kBeforeName);
  if (found == std::string::npos) throw Failure{TLIBC_ERR_NOT_FOUND};
  std::string_view name = path.substr(found + kBeforeName.size());
  // These directories hold the same zones, without and with leap seconds.
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (name.starts_with(variant)) name.remove_prefix(variant.size());
  }
  return std::string(name);
}

bool isZoneName(std::string_view name) {
  constexpr std::string_view kAllowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_+-/";
  return name.find_first_not_of(kAllowed) == std::string::npos && isPlainRelativePath(name);
}

// Fails unless the zone has a zone file: on the device or, where a device root has no zone files, on this machine.
void requireZoneFile(std::string_view name) {
  std::error_code error;
  std::string path = devicePath(kZoneDirectory);
  if (!std::filesystem::is_directory(path, error)) path = kZoneDirectory;
  path.append("/").append(name);
  const bool hasSignature = readFile(path).starts_with("TZif");
  if (!hasSignature || !std::filesystem::is_regular_file(path, error)) throw Failure{TLIBC_ERR_DECODE_FAILED};
}

}  // namespace
}  // namespace kova::platform

using namespace kova::platform;
using kova::copyText;

int TARVZoneGet(char *buffer, std::size_t size, int32_t *size_needed) {
  return withLastError(-1, [&] {
    require(buffer != nullptr && size_needed != nullptr);
    const std::string name = zoneName();
    if (name.size() >= size) {
      *size_needed = static_cast<int32_t>(name.size() + 1);
      throw Failure{TLIBC_ERR_TOO_LONG};
    }
    copyText(buffer, size, name);
    return 0;
  });
}

int TARVZoneGetInfo(const char *name, TLIBCSzHash **details) {
  return withLastError(-1, [&] {
    require(name != nullptr && details != nullptr && *details != nullptr && isZoneName(name));
    requireZoneFile(name);
    (*details)->set("nameInTZDB", name);
    return 1;
  });
}
