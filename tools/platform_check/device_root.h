// The directory that stands for the device's root directory while a rule is checked.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <list>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "base/descriptor.h"

namespace kova::check {

// Holds every file that the rules make for themselves.
inline constexpr char kOwnDirectory[] = "/var/kova-platform-check";
inline constexpr char kAccountFile[] = "/etc/kova.conf";
inline constexpr char kInformationFile[] = "/etc/tarvinfo.conf";

// Thrown where this device does not have what a rule needs.
struct NotJudged : std::runtime_error {
  using std::runtime_error::runtime_error;
};

// What a rule may change.
enum class Touches {
  kOwnFiles,  // memory, and files in kOwnDirectory
  kDevice     // the device's files and services
};

// A file of the device that rules may change. While this object lives, the file itself has another name, which ends in
// ".kova-platform-check", and a copy is in its place; at each moment one of the two names has the whole file.
class KeptFile {
 public:
  // Throws where that cannot be.
  explicit KeptFile(const std::filesystem::path &file);
  KeptFile(const KeptFile &) = delete;
  KeptFile &operator=(const KeptFile &) = delete;
  ~KeptFile();

 private:
  const std::filesystem::path file_;
  const std::filesystem::path kept_;
};

// Locks the root directory of a device until the descriptor is closed. Throws where another check has locked it.
Descriptor lockedRoot(const std::string &path);

class DeviceRoot {
 public:
  // With an empty path a scratch root, which has the files of kova-device(5). The files that are made, and the whole of
  // a scratch root, are removed at the end. Throws where the root cannot be used.
  DeviceRoot(const std::string &path, Touches touches);
  DeviceRoot(const DeviceRoot &) = delete;
  DeviceRoot &operator=(const DeviceRoot &) = delete;
  ~DeviceRoot();

  bool isScratch() const { return isScratch_; }
  const std::filesystem::path &path() const { return path_; }
  // Where the device's `path` lies on this machine.
  std::filesystem::path at(const std::string &path) const { return path_.string() + path; }

  // Throws NotJudged where that fails.
  void write(const std::string &path, std::string_view text, mode_t mode = 0644) const;
  // "(no file)" where there is none.
  std::string read(const std::string &path) const;
  // The permissions of a file; 07777 where there is none.
  mode_t mode(const std::string &path) const;
  // The regular files below the root with this text that were changed since this object was made.
  std::vector<std::filesystem::path> filesWith(std::string_view text) const;

 private:
  void fill() const;

  const bool isScratch_;
  std::filesystem::path path_;
  timespec madeAt_{};
  std::list<KeptFile> kept_;  // of a root that was given
};

}  // namespace kova::check
