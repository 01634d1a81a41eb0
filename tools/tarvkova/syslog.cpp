// What libc's functions of these names do, after showing the line. The program's own definitions go first in the
// libraries, too. A fortified library calls the second.
#include <dlfcn.h>

#include <cstdarg>

#include "tarvkova/log_lines.h"

extern "C" {

__attribute__((visibility("default"))) void vsyslog(int priority, const char *format, va_list arguments) {
  static const auto next = reinterpret_cast<decltype(&vsyslog)>(dlsym(RTLD_NEXT, "vsyslog"));
  kova::cli::showLogLine(format, arguments);
  if (next != nullptr) next(priority, format, arguments);
}

__attribute__((visibility("default"))) void __vsyslog_chk(int priority, int flag, const char *format,
                                                          va_list arguments) {
  static const auto next = reinterpret_cast<decltype(&__vsyslog_chk)>(dlsym(RTLD_NEXT, "__vsyslog_chk"));
  kova::cli::showLogLine(format, arguments);
  if (next != nullptr) next(priority, flag, format, arguments);
}

}  // extern "C"
