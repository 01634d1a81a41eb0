// What the user is told when the stored profile could not be refreshed.
#pragma once

#include <string>

#include "tarvkova/outcome.h"

namespace kova::cli {

// The sentence for a service that no longer knows this device's auth key. Call it after the library has tried to sign
// out here: the sentence says whether that worked.
std::string deviceRefusedMessage();

// Adds a note to the report where the refresh failed. `code` is the library's error code after it, 0 for success.
void addRefreshNotes(Report &report, int code);

}  // namespace kova::cli
