// How the platform reports failure: its functions throw Failure, and the exported ones turn that into the last error
// number and their failure result.
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

// Runs the work of an exported function. Where that throws, sets the last error and returns `failure`.
template <class Result, class Work>
Result withLastError(Result failure, Work &&work) noexcept {
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
