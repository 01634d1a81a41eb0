// Where the device's files lie on this machine.
#pragma once

#include <kova/platform.h>

#include <climits>

namespace kova {

inline constexpr char kAccountFile[] = "/etc/kova.conf";
inline constexpr char kInformationFile[] = "/etc/tarvinfo.conf";

// One of the device's files. An empty path, which names no file, stands for one that is too long.
class DevicePath {
 public:
  explicit DevicePath(const char *path) {
    if (KovaDevicePath(path, path_, sizeof path_) < 0) path_[0] = '\0';
  }
  const char *c_str() const { return path_; }

 private:
  char path_[PATH_MAX];
};

}  // namespace kova
