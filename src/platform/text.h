#pragma once

#include <cstddef>
#include <string_view>

namespace kova::platform {

constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t';
}
constexpr bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}  // as the C locale has it

template <typename Predicate>
constexpr std::string_view trimmedFront(std::string_view text, Predicate isRemoved) {
  while (!text.empty() && isRemoved(text.front())) text.remove_prefix(1);
  return text;
}

template <typename Predicate>
constexpr std::string_view trimmed(std::string_view text, Predicate isRemoved) {
  text = trimmedFront(text, isRemoved);
  while (!text.empty() && isRemoved(text.back())) text.remove_suffix(1);
  return text;
}

// Copies `text` into the caller's buffer of `size` bytes, at least 1, and cuts it to them.
void copyText(std::string_view text, char *buffer, size_t size);

}  // namespace kova::platform
