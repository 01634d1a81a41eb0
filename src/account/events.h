// The account's events in the device's event log.
#pragma once

#include <kova/platform.h>

#include <cstdint>

namespace kova {

inline constexpr uint32_t kEventSignedIn = 0x13A00001;
inline constexpr uint32_t kEventSignedOut = 0x13A00002;

// Writes an event with one text to the system log. A failure is ignored.
inline void writeEvent(uint32_t event, const char *account) {
  static constexpr int kSystemLog = 2;
  static constexpr int kInformation = 1;
  TARVLogSet1(kSystemLog, kInformation, event, account, "", "", "");
}

}  // namespace kova
