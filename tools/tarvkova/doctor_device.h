// The checks of "tarvkova doctor" that look at the device alone. They change nothing on it.
#pragma once

#include "tarvkova/doctor_finding.h"

namespace kova::cli {

// Without a device root the checks of what lies in it cannot be made.
bool hasDeviceRoot();

Finding checkDeviceRoot();
Finding checkSerialNumber();
Finding checkMacAddress();
Finding checkApiKey();
Finding checkAccountFile();
Finding checkSchedule();

}  // namespace kova::cli
