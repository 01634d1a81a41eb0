// A device in a temporary directory, for as long as the process runs.
#pragma once

#include <cstdlib>
#include <string_view>

#include "support/files.h"

class FuzzDevice {
 public:
  static constexpr char kInformation[] = "timezone=\"UTC\"\n";

  FuzzDevice() {
    setenv("KOVA_DEVICE_ROOT", root_.path().c_str(), 1);
    write("etc.defaults/kovadevice.conf", "serial=\"1430TST000001\"\nmac=\"02:00:00:00:00:01\"\n");
    write("etc/tarvinfo.conf", kInformation);
  }
  void write(const char *path, std::string_view text) const { writeFile(root_.path() / path, text); }

 private:
  TemporaryDirectory root_;
};
