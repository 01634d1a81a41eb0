#include "platform/last_error.h"

#include <atomic>

namespace kova::platform {
namespace {

std::atomic<int> lastError{TLIBC_ERR_NONE};

}  // namespace

void setLastError(int number) noexcept {
  lastError.store(number, std::memory_order_relaxed);
}

}  // namespace kova::platform

int TLIBCErrGet(void) {
  return kova::platform::lastError.load(std::memory_order_relaxed);
}
