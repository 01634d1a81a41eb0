#include "kovacenter/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <system_error>

namespace kova::center {

void throwErrno(const std::string &what) {
  throw std::system_error(errno, std::generic_category(), what);
}

Descriptor openFile(const std::filesystem::path &path, int flags, mode_t mode) {
  Descriptor file(open(path.c_str(), flags | O_CLOEXEC, mode));
  if (!file) throwErrno(path.string());
  return file;
}

void claimDirectory(const std::filesystem::path &directory, mode_t mode, bool followsLink, const char *known) {
  if (mkdir(directory.c_str(), mode) == 0) return;
  struct stat status = {};
  const auto readStatus = followsLink ? stat : lstat;
  if (errno != EEXIST || readStatus(directory.c_str(), &status) < 0) throwErrno(directory.string());
  if (S_ISLNK(status.st_mode)) throw std::runtime_error(directory.string() + " is a symbolic link");
  if (!S_ISDIR(status.st_mode)) throw std::runtime_error(directory.string() + " is no directory");
  if (status.st_uid != geteuid()) throw std::runtime_error(directory.string() + " belongs to another user");
  if ((status.st_mode & 0077 & ~mode) == 0) return;
  const auto requireOwn = [&] {
    if (std::filesystem::is_empty(directory) || (known != nullptr && std::filesystem::exists(directory / known)))
      return;
    throw std::runtime_error(directory.string() + " is open to others and holds other files");
  };
  requireOwn();
  if (chmod(directory.c_str(), mode) < 0) throwErrno(directory.string());
  requireOwn();  // others may have put a file there before the mode changed
}

std::string readFile(const std::filesystem::path &path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throwErrno(path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::filesystem::path &path, std::string_view content, mode_t mode) {
  const std::filesystem::path temporary = path.string() + ".new";
  std::filesystem::remove(temporary);
  const Descriptor file = openFile(temporary, O_WRONLY | O_CREAT | O_EXCL, mode);
  if (fchmod(file.get(), mode) < 0) throwErrno(temporary.string());
  if (!writeAll(file.get(), content)) throwErrno("write");
  std::filesystem::rename(temporary, path);
}

}  // namespace kova::center
