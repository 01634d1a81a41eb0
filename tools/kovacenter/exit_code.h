// The exit codes.
#pragma once

#include "common/exit_codes.h"

namespace kova::center {

inline constexpr int kFailure = 1;
inline constexpr int kWrongUsage = 2;
// As shells have them.
inline constexpr int kCannotRun = 126;
inline constexpr int kNotFound = 127;

inline constexpr ExitCodeMeaning<int> kExitCodes[] = {
    {0, "success"},
    {kFailure, "failure"},
    {kWrongUsage, "wrong usage"},
    {kCannotRun, "\"run\" cannot start its command"},
    {kNotFound, "\"run\" cannot find its command"},
};

}  // namespace kova::center
