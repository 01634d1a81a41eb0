// The library's log lines, and failures that set the error code.
#pragma once

#include <cstdint>

#include "base/where.h"

namespace kova {

// Logs "<unit>:<line> <text>" to the system log at error priority; the unit is the name of the place's file, without
// its ending.
void log(const Where &where, const char *format, ...) __attribute__((format(printf, 2, 3)));

// Logs, sets the error code and returns -1. The arguments are evaluated first and may read the old code.
int fail(const Where &where, int32_t code, const char *format, ...) __attribute__((format(printf, 3, 4)));

// The same without a log line.
int fail(int32_t code);

}  // namespace kova
