#include "core/log.h"

#include <kova/error.h>
#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <string_view>

namespace kova {
namespace {

std::string_view unitOf(const Where &where) {
  std::string_view file = where.file_name();
  file.remove_prefix(file.find_last_of('/') + 1);
  return file.substr(0, file.find('.'));
}

void logList(const Where &where, const char *format, va_list arguments) {
  // The prefix becomes part of the format, so that the message's own arguments are never cut or copied.
  char line[512];
  const std::string_view unit = unitOf(where);
  std::snprintf(line, sizeof line, "%.*s:%u %s", static_cast<int>(unit.size()), unit.data(), where.line(), format);
  vsyslog(LOG_ERR, line, arguments);
}

}  // namespace

void log(const Where &where, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logList(where, format, arguments);
  va_end(arguments);
}

int fail(const Where &where, int32_t code, const char *format, ...) {
  va_list arguments;
  va_start(arguments, format);
  logList(where, format, arguments);
  va_end(arguments);
  return fail(code);
}

int fail(int32_t code) {
  TARVKOVAErrSet(code);
  return -1;
}

}  // namespace kova
