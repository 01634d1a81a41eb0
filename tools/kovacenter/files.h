// Files and descriptors.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <utility>

namespace kova::center {

// Owns a file descriptor.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : fd_(fd) {}
  Descriptor(Descriptor &&other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor &operator=(Descriptor &&other) noexcept {
    std::swap(fd_, other.fd_);
    return *this;
  }
  ~Descriptor() {
    if (fd_ >= 0) close(fd_);
  }

  int get() const { return fd_; }
  explicit operator bool() const { return fd_ >= 0; }

 private:
  int fd_ = -1;
};

// Throws the system's last error.
[[noreturn]] void throwErrno(const std::string &what);

// Opens a file, close-on-exec; throws when that fails.
Descriptor openFile(const std::filesystem::path &path, int flags, mode_t mode = 0);

std::string readFile(const std::filesystem::path &path);

void writeAll(int fd, std::string_view content);

// Replaces the whole file at once: a reader sees the old or the new one.
void writeFile(const std::filesystem::path &path, std::string_view content, mode_t mode);

}  // namespace kova::center
