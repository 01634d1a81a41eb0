#include "platform/device_path.h"

#include <climits>
#include <cstddef>
#include <cstdlib>

#include "platform/last_error.h"

namespace kova::platform {

std::string devicePath(std::string_view path) {
  require(path.starts_with('/'));
  const char *setting = secure_getenv("KOVA_DEVICE_ROOT");
  std::string_view root = setting != nullptr ? setting : "";
  while (root.ends_with('/')) root.remove_suffix(1);
  std::string result;
  result.reserve(root.size() + path.size());
  return result.append(root).append(path);
}

bool isPlainRelativePath(std::string_view text) {
  while (true) {
    const std::size_t slash = text.find('/');
    const std::string_view component = text.substr(0, slash);
    if (component.empty() || component == "." || component == "..") return false;
    if (slash == std::string::npos) return true;
    text.remove_prefix(slash + 1);
  }
}

}  // namespace kova::platform

using namespace kova::platform;

int KovaDevicePath(const char *path, char *buffer, std::size_t size) {
  return withLastError(-1, [&] {
    require(path != nullptr && buffer != nullptr);
    const std::string result = devicePath(path);
    if (result.size() >= size || result.size() > INT_MAX) throw Failure{TLIBC_ERR_TOO_LONG};
    result.copy(buffer, result.size());
    buffer[result.size()] = '\0';
    return static_cast<int>(result.size());
  });
}
