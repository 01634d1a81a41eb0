#pragma once

#include <array>
#include <cstddef>
#include <memory_resource>
#include <string_view>

namespace kova::platform {

// Memory that is released all at once. Its first block is part of it, so that what needs little costs one allocation.
class TextArena {
 public:
  TextArena() = default;
  TextArena(const TextArena &) = delete;
  TextArena &operator=(const TextArena &) = delete;

  // A NUL-terminated copy of `text` with room for as many bytes, NUL included, as `room` says.
  char *copy(std::string_view text, size_t room) {
    auto *copy = static_cast<char *>(resource_.allocate(room, 1));
    text.copy(copy, text.size());
    copy[text.size()] = '\0';
    return copy;
  }

  std::pmr::memory_resource *resource() noexcept { return &resource_; }

 private:
  std::array<std::byte, 4096> firstBlock_;
  std::pmr::monotonic_buffer_resource resource_{firstBlock_.data(), firstBlock_.size()};
};

}  // namespace kova::platform
