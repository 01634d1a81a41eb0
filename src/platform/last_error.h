// How the platform's own work reports failure: it throws Failure, and the exported function's guard makes of it the
// last error number and the function's failure result.
#pragma once

#include <kova/platform.h>

#include <new>

namespace kova::platform {

struct Failure {
  int number;
};

void setLastError(int number) noexcept;

inline void require(bool argumentIsGood) {
  if (!argumentIsGood) throw Failure{TLIBC_ERR_BAD_PARAMETER};
}

template <typename Result, typename Work>
Result guarded(Result failure, Work &&work) noexcept {
  try {
    return work();
  } catch (const Failure &thrown) {
    setLastError(thrown.number);
  } catch (const std::bad_alloc &) {
    setLastError(TLIBC_ERR_OUT_OF_MEMORY);
  } catch (...) {
    setLastError(TLIBC_ERR_DEVICE);
  }
  return failure;
}

}  // namespace kova::platform
