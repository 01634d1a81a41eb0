// The service's own settings.
#pragma once

#include <cstdint>

namespace kova::center {

struct Rules {
  int64_t registerLimit = 5;  // accounts that one device may register
  bool registerUnverified = false;
};

}  // namespace kova::center
