// Points in time as text.
#pragma once

#include <chrono>
#include <ctime>
#include <string>

namespace kova {

// The point in time in UTC. The format is one of std::strftime.
inline std::string utcText(std::chrono::system_clock::time_point time, const char *format) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  char text[64];
  return {text, std::strftime(text, sizeof text, format, &utc)};
}

}  // namespace kova
