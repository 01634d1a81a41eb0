// The library's log lines, also shown to the user.
#pragma once

#include <cstdarg>

namespace kova::cli {

// From now on each line that the library logs is also written to standard error.
void showLogLines();
bool areLogLinesShown();

// Writes a line, if lines are shown.
void showLogLine(const char *format, va_list arguments);

}  // namespace kova::cli
