// The library's log lines, and failures that set the error code.
#pragma once

#include <cstdint>
#include <source_location>

namespace kova {

// A place in the code. A log line begins with the name of the place's file, without its ending, and the line.
using Where = std::source_location;

// The place of the call itself.
consteval Where here(Where where = Where::current()) {
  return where;
}

// Logs "<unit>:<line> <text>" to the system log at error priority.
void log(const Where &where, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Logs, sets the error code and returns -1. The arguments are evaluated first and may read the old code.
int fail(const Where &where, int32_t code, const char *format, ...) __attribute__((format(printf, 3, 4)));

// The same without a log line.
int fail(int32_t code);

}  // namespace kova
