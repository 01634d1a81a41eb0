// The library's log line and the failure that most steps end in.
#pragma once

#include <cstdint>
#include <source_location>

namespace kova {

// A place in the code. The source unit that opens a log line is the name of the place's file, without its ending.
using Where = std::source_location;

// The place of the call itself.
consteval Where here(Where where = Where::current()) {
  return where;
}

// Logs "<unit>:<line> <text>" to the system log at error priority.
void log(const Where &where, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Logs, sets the error code and returns -1. The arguments may still read the old code.
int fail(const Where &where, int32_t code, const char *format, ...) __attribute__((format(printf, 3, 4)));

// The same without a log line.
int fail(int32_t code);

}  // namespace kova
