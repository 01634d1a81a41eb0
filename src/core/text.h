// Fixed-width text fields.
#pragma once

#include <cstddef>
#include <cstring>

namespace kova {

// Copies `text` into the field, cut to its width and NUL-terminated.
template <std::size_t width>
void copyText(char (&field)[width], const char *text) {
  const std::size_t length = strnlen(text, width - 1);
  std::memcpy(field, text, length);
  field[length] = '\0';
}

inline bool isEmpty(const char *text) {
  return text == nullptr || text[0] == '\0';
}

}  // namespace kova
