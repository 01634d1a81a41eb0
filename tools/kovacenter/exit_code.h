// The exit codes.
#pragma once

namespace kova::center {

inline constexpr int kFailure = 1;
inline constexpr int kWrongUsage = 2;
// As shells have them.
inline constexpr int kCannotRun = 126;
inline constexpr int kNotFound = 127;

struct ExitCodeMeaning {
  int code;
  const char *meaning;
};

inline constexpr ExitCodeMeaning kExitCodes[] = {
    {0, "success"},
    {kFailure, "failure"},
    {kWrongUsage, "wrong usage"},
    {kCannotRun, "\"run\" cannot start its command"},
    {kNotFound, "\"run\" cannot find its command"},
};

}  // namespace kova::center
