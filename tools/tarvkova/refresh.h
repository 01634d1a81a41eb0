// What became of the stored profile when it was fetched anew.
#pragma once

#include <string>

#include "tarvkova/outcome.h"

namespace kova::cli {

// What it means that the service no longer knows this device's auth key; the library has then tried to sign out here.
std::string keyRefused();

// Notes that a refresh failed; `code` is what it left, 0 where there is nothing to note.
void noteRefresh(Report &report, int code);

}  // namespace kova::cli
