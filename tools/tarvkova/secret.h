// Text that is wiped from memory after use.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <string>

namespace kova::cli {

// A text of at most `capacity` bytes. It never moves in memory, so that no copy is left behind.
class Secret {
 public:
  explicit Secret(std::size_t capacity = 4096) { text_.reserve(capacity); }
  Secret(Secret &&other) noexcept { text_.swap(other.text_); }
  Secret &operator=(Secret &&other) noexcept {
    text_.swap(other.text_);
    return *this;
  }
  ~Secret() { clear(); }

  // False when there is no room left.
  bool append(char character);
  // Drops the "\r" of a line that ended in "\r\n".
  void dropCarriageReturn();
  void clear();
  const std::string &text() const { return text_; }
  const char *c_str() const { return text_.c_str(); }

 private:
  std::string text_;
};

// Overwrites the texts in a JSON value that is not used any more.
void wipe(Json::Value &value);

// Reads one line, without its end and without a byte of what follows. False at the end of input. Throws Failure for a
// line that cannot be a password. `beforeRead`, if any, is called before every read and may throw.
bool readLine(int descriptor, Secret &line, const std::function<void()> &beforeRead = {});

}  // namespace kova::cli
