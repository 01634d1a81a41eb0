// A place in the code.
#pragma once

namespace kova {

class Where {
 public:
  // The place of the call; as a default argument, that of the call of the function it belongs to. clang 14 lacks the
  // standard library's std::source_location.
  static constexpr Where current(const char *file = __builtin_FILE(), int line = __builtin_LINE()) {
    return Where(file, line);
  }

  constexpr const char *file() const { return file_; }
  constexpr int line() const { return line_; }

 private:
  constexpr Where(const char *file, int line) : file_(file), line_(line) {}

  const char *file_;
  int line_;
};

// The place of the call itself.
constexpr Where here(Where where = Where::current()) {
  return where;
}

}  // namespace kova
