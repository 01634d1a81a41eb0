// What keeps exceptions inside the library.
#pragma once

#include <kova/error.h>

#include "core/log.h"

namespace kova {

// Runs the body of an exported function. An exception inside, as when memory runs out, becomes code 6 and -1.
template <class Body>
int guarded(Body &&body) noexcept {
  try {
    return body();
  } catch (...) {
    return fail(KOVA_ERR_SYSTEM);
  }
}

}  // namespace kova
