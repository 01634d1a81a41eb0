// File descriptors that close themselves, and system calls that a signal does not end.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "base/secret.h"

namespace kova {

class Descriptor {
 public:
  explicit Descriptor(int number = -1) noexcept : number_(number) {}
  Descriptor(Descriptor &&other) noexcept : number_(other.release()) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(number_, other.number_);
    return *this;
  }
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int get() const noexcept { return number_; }
  int release() noexcept { return std::exchange(number_, -1); }
  explicit operator bool() const noexcept { return number_ >= 0; }

 private:
  int number_;
};

// Repeats a system call that a signal interrupted.
template <class Call>
auto retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// Opening a FIFO in place of a file to read does not block, and a terminal does not become the controlling one.
inline constexpr int kReadFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;

// Reads a file of less than 16 MiB to its end. False, with errno set (EFBIG for a longer one), when that fails.
inline bool readAll(const Descriptor &file, SecretText &text) {
  constexpr std::size_t kFirstPiece = 4096;
  constexpr std::size_t kLimit = std::size_t{16} << 20;
  std::size_t length = 0;
  while (length < kLimit) {
    if (length == text.size()) text.resize(std::max(2 * length, kFirstPiece));
    const ssize_t count = retried([&] { return read(file.get(), &text[length], text.size() - length); });
    if (count <= 0) {
      text.resize(length);
      return count == 0;
    }
    length += static_cast<std::size_t>(count);
  }
  errno = EFBIG;
  return false;
}

// Writes all of `text`. False, with errno set, when that fails.
inline bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = retried([&] { return write(descriptor, text.data(), text.size()); });
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

inline Descriptor openDirectory(const std::string &path) {
  return Descriptor(retried([&] { return open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); }));
}

// Puts a directory's entries on the disk. False, with errno set, when that fails.
inline bool syncDirectory(const Descriptor &directory) {
  // Some file systems cannot do this.
  return retried([&] { return fsync(directory.get()); }) == 0 || errno == EINVAL;
}

// The same for the directory in which the entry for an absolute `path` was made or removed. One that this process may
// write to but not read cannot be synced.
inline bool syncDirectoryOf(const std::string &path) {
  const Descriptor directory = openDirectory(path.substr(0, path.rfind('/') + 1));
  return directory ? syncDirectory(directory) : errno == EACCES;
}

}  // namespace kova
