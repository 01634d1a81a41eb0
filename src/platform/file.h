// Reading and replacing whole files of the device.
#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace kova::platform {

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
template <typename Call>
auto retried(Call call) {
  auto result = call();
  while (result < 0 && errno == EINTR) result = call();
  return result;
}

// The text of a file; one of ordinary size is kept without an allocation.
class FileText {
 public:
  FileText() = default;
  explicit FileText(const std::string &path);
  explicit FileText(int descriptor) { readFrom(descriptor); }
  FileText(const FileText &) = delete;
  FileText &operator=(const FileText &) = delete;

  std::string_view view() const noexcept { return view_; }

 private:
  void readFrom(int descriptor);

  std::array<char, 16384> buffer_;
  std::string large_;
  std::string_view view_;
};

// Makes a new text of an old one (empty where there is no file yet); without a result the file stays as it is.
using FileEdit = std::function<std::optional<std::string>(std::string_view)>;

enum class ExistingMode { kKept, kReplaced };

// Replaces the text of a file, atomically and durably, and one after the other where several want it. A symbolic link
// stays and its target is replaced. A new file gets `newMode`, an existing one keeps its owner and, unless said
// otherwise, its mode.
void updateFile(const std::string &path, mode_t newMode, const FileEdit &edit,
                ExistingMode existingMode = ExistingMode::kKept);

// Makes the directory, and those above it (mode 0755), where they are missing.
void makeDirectory(const std::string &path, mode_t mode);

}  // namespace kova::platform
