#include "platform/text.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "platform/last_error.h"

namespace kova::platform {

void copyText(std::string_view text, char *buffer, size_t size) {
  buffer[text.copy(buffer, size - 1)] = '\0';
}

}  // namespace kova::platform

using namespace kova::platform;

int TLIBCStrCat(TLIBCSzText *buffer, const char *addition) {
  return guarded(-1, [&] {
    require(buffer != nullptr && addition != nullptr);
    const bool empty = buffer->text == nullptr;
    require(empty || buffer->length < buffer->capacity);
    const size_t length = empty ? 0 : buffer->length;
    const size_t added = strlen(addition);
    if (added >= SIZE_MAX / 2 - length) throw Failure{TLIBC_ERR_OUT_OF_MEMORY};
    const size_t needed = length + added + 1;
    if (empty || needed > buffer->capacity) {
      const bool own = !empty && addition >= buffer->text && addition <= buffer->text + length;
      const size_t offset = own ? addition - buffer->text : 0;
      const size_t capacity = std::max({needed, empty ? 0 : buffer->capacity * 2, size_t{64}});
      auto *grown = static_cast<char *>(realloc(buffer->text, capacity));
      if (grown == nullptr) throw Failure{TLIBC_ERR_OUT_OF_MEMORY};
      buffer->text = grown;
      buffer->capacity = capacity;
      if (own) addition = grown + offset;
    }
    memmove(buffer->text + length, addition, added);
    buffer->text[length + added] = '\0';
    buffer->length = length + added;
    return 0;
  });
}

char *TLIBCStrTrimSpace(char *text) {
  return guarded<char *>(nullptr, [&] {
    require(text != nullptr);
    const std::string_view rest = trimmed(text, isSpace);
    if (rest.data() != text) memmove(text, rest.data(), rest.size());
    text[rest.size()] = '\0';
    return text;
  });
}
