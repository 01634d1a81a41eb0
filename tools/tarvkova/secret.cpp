#include "tarvkova/secret.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "base/descriptor.h"
#include "tarvkova/outcome.h"

namespace kova::cli {

bool Secret::append(char character) {
  if (text_.size() == text_.capacity()) return false;
  text_.push_back(character);
  return true;
}

void Secret::dropCarriageReturn() {
  if (text_.ends_with('\r')) text_.pop_back();
}

void Secret::clear() {
  explicit_bzero(text_.data(), text_.size());
  text_.clear();
}

void wipe(Json::Value &value) {
  if (value.isArray() || value.isObject()) {
    for (Json::Value &element : value) wipe(element);
    return;
  }
  const char *begin = nullptr;
  const char *end = nullptr;
  if (value.isString() && value.getString(&begin, &end)) {
    explicit_bzero(const_cast<char *>(begin), static_cast<std::size_t>(end - begin));
  }
}

bool readLine(int descriptor, Secret &line, const std::function<void()> &beforeRead) {
  line.clear();
  for (bool hasRead = false;; hasRead = true) {
    if (beforeRead) beforeRead();
    char character = 0;
    const ssize_t length = retried([&] { return read(descriptor, &character, 1); });
    if (length < 0) throw localFailure(std::string("cannot read the password: ") + std::strerror(errno));
    if (length == 0 || character == '\n') {
      line.dropCarriageReturn();
      return length > 0 || hasRead;
    }
    if (character == '\0') throw localFailure("a password cannot hold a NUL character");
    if (!line.append(character)) throw localFailure("the password is too long");
  }
}

}  // namespace kova::cli
