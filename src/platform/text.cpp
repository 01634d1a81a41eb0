#include "platform/text.h"

#include <string.h>  // explicit_bzero

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/last_error.h"

using namespace kova::platform;

int TLIBCStrCat(TLIBCSzText *buffer, const char *addition) {
  return withLastError(-1, [&] {
    require(buffer != nullptr && addition != nullptr);
    const bool isUnallocated = buffer->text == nullptr;
    require(isUnallocated || buffer->length < buffer->capacity);
    const std::size_t length = isUnallocated ? 0 : buffer->length;
    const std::size_t added = std::strlen(addition);
    if (added >= SIZE_MAX / 2 - length) throw Failure{TLIBC_ERR_OUT_OF_MEMORY};
    const std::size_t needed = length + added + 1;
    if (isUnallocated || needed > buffer->capacity) {
      const std::size_t capacity = std::max({needed, isUnallocated ? 0 : buffer->capacity * 2, std::size_t{64}});
      auto *grown = static_cast<char *>(std::malloc(capacity));
      if (grown == nullptr) throw Failure{TLIBC_ERR_OUT_OF_MEMORY};
      // The old memory stays until both are copied, as the addition may be a part of it. It may hold a secret, so that
      // realloc, which gives memory back as it is, is out of the question.
      if (!isUnallocated) std::memcpy(grown, buffer->text, length);
      std::memcpy(grown + length, addition, added + 1);
      if (!isUnallocated) explicit_bzero(buffer->text, buffer->capacity);
      std::free(buffer->text);
      *buffer = {grown, length + added, capacity};
      return 0;
    }
    std::memmove(buffer->text + length, addition, added);
    buffer->text[length + added] = '\0';
    buffer->length = length + added;
    return 0;
  });
}

char *TLIBCStrTrimSpace(char *text) {
  return withLastError<char *>(nullptr, [&] {
    require(text != nullptr);
    const std::string_view rest = trimmed(text, isSpace);
    if (rest.data() != text) std::memmove(text, rest.data(), rest.size());
    text[rest.size()] = '\0';
    return text;
  });
}
