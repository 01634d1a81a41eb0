// The device's time zone under the name that the service knows.
#pragma once

#include <string>

#include "core/log.h"

namespace kova {

// Reads the zone's name in the tz database. Returns 0, or -1 after it has logged at `where`: with the error code as it
// was when the device cannot name its zone, else with code 6.
int readTimeZone(std::string &name, const Where &where = Where::current());

}  // namespace kova
