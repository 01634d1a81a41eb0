#include "tarvkova/secret.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "tarvkova/outcome.h"

namespace kova::cli {

bool Secret::append(char character) {
  if (text_.size() == text_.capacity()) return false;
  text_.push_back(character);
  return true;
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

bool readLine(int fd, Secret &line, const std::function<void()> &beforeRead) {
  line.clear();
  for (bool any = false;; any = true) {
    if (beforeRead) beforeRead();
    char character = 0;
    const ssize_t got = read(fd, &character, 1);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) throw localFailure(std::string("cannot read the password: ") + std::strerror(errno));
    if (got == 0) return any;
    if (character == '\n') return true;
    if (character == '\0') throw localFailure("a password cannot hold a NUL character");
    if (!line.append(character)) throw localFailure("the password is too long");
  }
}

}  // namespace kova::cli
