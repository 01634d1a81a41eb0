// Texts from C interfaces.
#pragma once

namespace kova {

// Null counts as empty.
inline bool isEmpty(const char *text) {
  return text == nullptr || text[0] == '\0';
}

}  // namespace kova
