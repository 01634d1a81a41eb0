// File descriptors that close themselves, and system calls that a signal does not end.
#pragma once

#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <string_view>
#include <utility>

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

// Writes all of `text`. False, with errno set, when that fails.
inline bool writeAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = retried([&] { return write(descriptor, text.data(), text.size()); });
    if (written <= 0) return false;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace kova
