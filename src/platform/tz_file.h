#pragma once

#include <cstdint>
#include <string_view>

namespace kova::platform {

// The distance of local time from UTC, in seconds, that a compiled time zone file (RFC 8536) states for `time`, in
// seconds since the epoch.
int32_t offsetAt(std::string_view file, int64_t time);

}  // namespace kova::platform
