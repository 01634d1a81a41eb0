// Where the device's files lie on this machine.
#pragma once

#include <kova/platform.h>

#include <climits>

namespace kova {

inline constexpr char kAccountFile[] = "/etc/kova.conf";
inline constexpr char kInformationFile[] = "/etc/tarvinfo.conf";

// The path of one of the device's files on this machine. Empty, so that no file is found, where it would be too long.
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
