#include "tarvkova/doctor_files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "base/descriptor.h"
#include "tarvkova/device_files.h"

namespace kova::cli {
namespace {

std::string modeText(mode_t mode) {
  char text[8];
  std::snprintf(text, sizeof text, "%04o", static_cast<unsigned>(mode & ALLPERMS));
  return text;
}

}  // namespace

bool isWholeMachine() {
  return devicePath("/") == "/";
}

std::string errorText(int error) {
  return std::generic_category().message(error);
}

int readError(const std::string &path) {
  const Descriptor file(retried([&] { return open(path.c_str(), kReadFlags); }));
  char byte = 0;
  return file && retried([&] { return read(file.get(), &byte, 1); }) >= 0 ? 0 : errno;
}

Finding accessFailure(const std::string &what, const std::string &path, int error) {
  const bool isForbidden = error == EACCES || error == EPERM;
  return {CheckState::kFailed, what + " " + path + ": " + errorText(error),
          isForbidden ? "run tarvkova as root, or as the user whom the device's files belong to" : "repair " + path};
}

Finding unreadable(const std::string &path, int error) {
  return accessFailure("cannot read", path, error);
}

std::optional<Finding> modeFailure(const std::string &path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0 || (status.st_mode & (S_IRWXG | S_IRWXO)) == 0) return std::nullopt;
  return Finding{CheckState::kFailed,
                 path + " has mode " + modeText(status.st_mode) + ", which is not for its owner alone",
                 "chmod 600 " + path};
}

}  // namespace kova::cli
