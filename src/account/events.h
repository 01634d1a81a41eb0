// The account's events in the device's event log.
#pragma once

#include <kova/platform.h>

#include <cstdint>

namespace kova {

inline constexpr uint32_t kEventSignedIn = 0x13A00001;
inline constexpr uint32_t kEventSignedOut = 0x13A00002;

// The log of the system and its severity "information".
inline void writeEvent(uint32_t event, const char *account) {
  TARVLogSet1(2, 1, event, account, "", "", "");
}

}  // namespace kova
