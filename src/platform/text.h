// Blanks and white space, and their removal.
#pragma once

#include <string_view>

namespace kova::platform {

constexpr bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

// White space in the C locale.
constexpr bool isSpace(char c) {
  return c == ' ' || (c >= '\t' && c <= '\r');
}

template <class Predicate>
constexpr std::string_view trimmedFront(std::string_view text, Predicate isRemoved) {
  while (!text.empty() && isRemoved(text.front())) text.remove_prefix(1);
  return text;
}

template <class Predicate>
constexpr std::string_view trimmed(std::string_view text, Predicate isRemoved) {
  text = trimmedFront(text, isRemoved);
  while (!text.empty() && isRemoved(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace kova::platform
