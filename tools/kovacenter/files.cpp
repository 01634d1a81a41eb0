#include "kovacenter/files.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <fstream>
#include <iterator>
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
