// Text in buffers of a fixed size.
#pragma once

#include <cstddef>
#include <string_view>

namespace kova {

// Copies `text` into a buffer of `size` bytes, at least 1, cut to them and NUL-terminated.
inline void copyText(char *buffer, std::size_t size, std::string_view text) {
  buffer[text.copy(buffer, size - 1)] = '\0';
}

// The same for a text that ends at its first NUL.
template <std::size_t size>
void copyText(char (&buffer)[size], const char *text) {
  copyText(buffer, size, text);
}

}  // namespace kova
