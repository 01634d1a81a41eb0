// A device in a temporary directory, for as long as the process runs.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

class FuzzDevice {
 public:
  static constexpr char kInformation[] = "timezone=\"UTC\"\n";

  FuzzDevice() {
    std::string pattern = std::filesystem::temp_directory_path() / "kova-fuzz-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) std::abort();
    root_ = pattern;
    setenv("KOVA_DEVICE_ROOT", root_.c_str(), 1);
    write("etc.defaults/kovadevice.conf", "serial=\"1430TST000001\"\nmac=\"02:00:00:00:00:01\"\n");
    write("etc/tarvinfo.conf", kInformation);
  }
  ~FuzzDevice() { std::filesystem::remove_all(root_); }
  FuzzDevice(const FuzzDevice &) = delete;
  FuzzDevice &operator=(const FuzzDevice &) = delete;

  void write(const char *path, const std::string &text) const {
    std::filesystem::create_directories((root_ / path).parent_path());
    std::ofstream(root_ / path, std::ios::binary) << text;
  }

 private:
  std::filesystem::path root_;
};
