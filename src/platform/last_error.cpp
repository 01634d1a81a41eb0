#include "platform/last_error.h"

#include <atomic>

namespace kova::platform {
namespace {

std::atomic<int> last_error{TLIBC_ERR_NONE};

}  // namespace

void setLastError(int number) noexcept {
  last_error.store(number, std::memory_order_relaxed);
}

}  // namespace kova::platform

int TLIBCErrGet(void) {
  return kova::platform::last_error.load(std::memory_order_relaxed);
}
