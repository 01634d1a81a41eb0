#include "core/log.h"

#include <kova/error.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace kova {
namespace {

std::string_view unitOf(const Where &where) {
  std::string_view file = where.file();
  file.remove_prefix(file.find_last_of('/') + 1);
  return file.substr(0, file.find('.'));
}

void logArguments(const Where &where, const char *format, va_list arguments) {
  // Only the format is put together here: the arguments may be of any length.
  char fullFormat[512];
  const std::string_view unit = unitOf(where);
  std::snprintf(fullFormat, sizeof fullFormat, "%.*s:%d %s", static_cast<int>(unit.size()), unit.data(), where.line(),
                format);
  vsyslog(LOG_ERR, fullFormat, arguments);
}

}  // namespace

void log(const Where &where, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logArguments(where, format, arguments);
  va_end(arguments);
}

int fail(const Where &where, int32_t code, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logArguments(where, format, arguments);
  va_end(arguments);
  return fail(code);
}

int fail(int32_t code) {
  TARVKOVAErrSet(code);
  return -1;
}

}  // namespace kova
