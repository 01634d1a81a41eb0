#include "tarvkova/device_files.h"

#include <fcntl.h>
#include <kova/platform.h>
#include <kova/session.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <system_error>

#include "base/descriptor.h"
#include "base/secret.h"

namespace kova::cli {
namespace {

std::string obstacle(const std::string &what, const std::string &path, int error) {
  return "cannot " + what + " " + path + ": " + std::strerror(error);
}

std::optional<std::string> missingRoot() {
  const std::string root = devicePath("/");
  if (access(root.c_str(), F_OK) == 0 || (errno != ENOENT && errno != ENOTDIR)) return std::nullopt;
  return obstacle("use the device root", root.substr(0, std::max<std::size_t>(root.size() - 1, 1)), errno);
}

bool isOtherThanFile(const std::string &path) {
  struct stat status = {};
  return stat(path.c_str(), &status) == 0 && !S_ISREG(status.st_mode);
}

// The length of a value of the account file; negative when the file is not one of keys and values.
int lengthOf(const char *key) {
  char value[16];
  const WipedAtEnd wiped(value);
  return TLIBCFileGetKeyValue(kAccountFile, key, value, sizeof value, 0);
}

}  // namespace

std::string devicePath(const char *file) {
  char path[PATH_MAX] = "";
  if (KovaDevicePath(file, path, sizeof path) < 0) throw localFailure("the path of the device root is too long");
  return path;
}

std::string nearestDirectory(std::string path) {
  do {
    path.resize(std::min(path.rfind('/'), path.size()));
  } while (!path.empty() && access(path.c_str(), F_OK) != 0 && errno == ENOENT);
  return path.empty() ? "/" : path;
}

int tryToWriteIn(const std::string &directory) {
  Descriptor file(retried([&] { return open(directory.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600); }));
  if (!file && (errno == EOPNOTSUPP || errno == EISDIR || errno == EINVAL)) {
    // Not every file system has files without a name.
    std::string path = directory + "/.kova.XXXXXX";
    file = Descriptor(mkostemp(path.data(), O_CLOEXEC));
    if (file) unlink(path.c_str());
  }
  const std::string block(4096, '\0');
  return file && writeAll(file.get(), block) ? 0 : errno;
}

std::string readObstacle(const char *file) {
  const std::string path = devicePath(file);
  if (const auto missing = missingRoot()) return *missing;
  const Descriptor opened(retried([&] { return open(path.c_str(), kReadFlags); }));
  return opened || errno == ENOENT ? "" : obstacle("read", path, errno);
}

std::string writeObstacle(const char *file) {
  if (std::string unreadable = readObstacle(file); !unreadable.empty()) return unreadable;
  const std::string path = devicePath(file);
  if (isOtherThanFile(path)) return "cannot write " + path + ": it is not a regular file";
  const int error = tryToWriteIn(nearestDirectory(path));
  return error == 0 ? "" : obstacle("write", path, error);
}

std::string removeObstacle(const char *file) {
  const std::string path = devicePath(file);
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) return obstacle("remove", path, EISDIR);
  const int error = tryToWriteIn(nearestDirectory(path));
  return error == 0 || error == ENOSPC || error == EDQUOT || error == EFBIG ? "" : obstacle("remove", path, error);
}

std::string withReason(const std::string &message, const std::string &reason) {
  return reason.empty() ? message : message + ": " + reason;
}

bool isReportDisabled() {
  return TLIBCFileCheckKeyValue(kInformationFile, "kova_disable_report", "yes", 0) == 1;
}

bool isReportScheduled() {
  if (!readObstacle(kScheduleFile).empty()) return true;
  std::ifstream table(devicePath(kScheduleFile));
  for (std::string line; std::getline(table, line);) {
    const std::size_t start = line.find_first_not_of(" \t");
    if (start != line.npos && line[start] != '#' && line.find(KOVA_REPORT_COMMAND) != line.npos) return true;
  }
  return false;
}

std::string accountDamage() {
  const std::string path = devicePath(kAccountFile);
  const auto isDamaged = [&](const std::string &reason) { return path + " is damaged: " + reason; };
  if (access(path.c_str(), F_OK) != 0) return "";
  if (isOtherThanFile(path)) return isDamaged("it is not a regular file; remove it");
  if (lengthOf("kovaID") > 0 && lengthOf("kovaPW") > 0) return "";  // an account to be merged
  for (const char *key : {"vx_auth_key", "kovaIDSerial"}) {
    const int length = lengthOf(key);
    if (length < 0) return isDamaged("it cannot be read as keys and values");
    if (length == 0) return isDamaged(std::string("it has no ") + key);
  }
  return "";
}

std::optional<Failure> accountFileFailure() {
  if (const std::string unreadable = readObstacle(kAccountFile); !unreadable.empty()) {
    return Failure(ExitCode::kLocal, 0, kAccountUnreadable, unreadable);
  }
  const std::string damage = accountDamage();
  if (damage.empty()) return std::nullopt;
  const char *advice =
      isOtherThanFile(devicePath(kAccountFile)) ? "" : "; sign in again, or remove it with \"tarvkova logout --local\"";
  return Failure(ExitCode::kLocal, 0, kAccountDamaged, damage + advice);
}

}  // namespace kova::cli
