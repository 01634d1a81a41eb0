#include "tarvkova/log_lines.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "base/release.h"
#include "common/terminal_text.h"
#include "tarvkova/streams.h"

namespace kova::cli {
namespace {

bool areShown = false;  // set before the library is called

}  // namespace

void showLogLines() {
  areShown = true;
}

bool areLogLinesShown() {
  return areShown;
}

void showLogLine(const char *format, va_list arguments) {
  if (!areShown) return;
  va_list copy;
  va_copy(copy, arguments);
  char *text = nullptr;
  const int length = vasprintf(&text, format, copy);
  va_end(copy);
  if (length < 0) return;
  const std::unique_ptr<char, Release<std::free>> owner(text);
  writeMessage("log: " + std::string(withoutTrailingSpace(text)));
}

}  // namespace kova::cli
