// The mark that the device has settled on one account.
#pragma once

#include <kova/error.h>
#include <kova/platform.h>

#include "core/device_path.h"
#include "core/log.h"

namespace kova {

inline constexpr char kUnifiedKey[] = "kova_unified";

inline bool isMarkedUnified() {
  return TLIBCFileCheckKeyValue(kInformationFile, kUnifiedKey, "yes", 0) == 1;
}

// Returns 0, or -1 after it has logged at `where` and set code 19.
inline int markUnified(const Where &where = Where::current()) {
  if (TLIBCINFOSetKeyValue(kUnifiedKey, "yes") >= 0) return 0;
  return fail(where, KOVA_ERR_STORE, "Failed to update %s in %s[0x%04X]", kUnifiedKey, kInformationFile, TLIBCErrGet());
}

}  // namespace kova
