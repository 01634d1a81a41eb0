// The device's time zone as the service wants it.
#pragma once

#include <string>

#include "core/log.h"

namespace kova {

// The zone's name in the tz database. Returns 0, or -1 after it has logged at `where`: without touching the error code
// when the device cannot name its zone, else with code 6.
int readTimeZone(std::string &name, const Where &where = Where::current());

}  // namespace kova
