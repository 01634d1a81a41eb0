#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <ctime>
#include <string>
#include <string_view>

#include "platform/device_path.h"
#include "platform/file.h"
#include "platform/key_file.h"
#include "platform/last_error.h"
#include "platform/string_hash.h"
#include "platform/text.h"
#include "platform/tz_file.h"

namespace kova::platform {
namespace {

constexpr std::string_view kZoneDirectory = "/usr/share/zoneinfo/";

std::string zoneName() {
  try {
    const std::optional<std::string> setting = readKey("/etc/tarvinfo.conf", "timezone");
    if (setting && !setting->empty()) return *setting;
  } catch (const Failure &) {
    // What cannot be read says nothing.
  }
  std::array<char, PATH_MAX> target;
  const ssize_t length = readlink(devicePath("/etc/localtime").c_str(), target.data(), target.size());
  const std::string_view path(target.data(), std::max<ssize_t>(length, 0));
  constexpr std::string_view beforeName = "/zoneinfo/";
  const size_t found = path.rfind(beforeName);
  if (found == path.npos) throw Failure{TLIBC_ERR_NOT_FOUND};
  std::string_view name = path.substr(found + beforeName.size());
  // The same zones with another way to count leap seconds.
  for (const std::string_view variant : {"posix/", "right/"}) {
    if (name.starts_with(variant)) name.remove_prefix(variant.size());
  }
  return std::string(name);
}

bool isZoneName(std::string_view name) {
  constexpr std::string_view allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_+-/";
  return name.find_first_not_of(allowed) == name.npos && isPlainRelativePath(name);
}

// The offset that the device's own zone files state, or this machine's where a device root has none.
int32_t offsetNow(std::string_view name) {
  const std::string path = std::string(kZoneDirectory).append(name);
  const std::string own = devicePath(path);
  const FileText file(access(own.c_str(), F_OK) == 0 ? own : path);
  return offsetAt(file.view(), time(nullptr));
}

}  // namespace
}  // namespace kova::platform

using namespace kova::platform;

int TARVZoneGet(char *buffer, size_t size, int32_t *size_needed) {
  return guarded(-1, [&] {
    require(buffer != nullptr && size_needed != nullptr);
    const std::string name = zoneName();
    if (name.size() >= size) {
      *size_needed = static_cast<int32_t>(name.size() + 1);
      throw Failure{TLIBC_ERR_TOO_LONG};
    }
    copyText(name, buffer, size);
    return 0;
  });
}

int TARVZoneGetInfo(const char *name, TLIBCSzHash **details) {
  return guarded(-1, [&] {
    require(name != nullptr && details != nullptr && *details != nullptr && isZoneName(name));
    const std::string offset = std::to_string(offsetNow(name));
    (*details)->set("nameInTZDB", name);
    (*details)->set("offset", offset);
    return 2;
  });
}
