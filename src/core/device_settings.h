// The library's settings in the device's information file.
#pragma once

#include <kova/error.h>
#include <kova/platform.h>

#include "core/device_path.h"
#include "core/log.h"

namespace kova {

// Whether the device is marked as unified: it has settled on one account.
inline bool isMarkedUnified() {
  return TLIBCFileCheckKeyValue(kInformationFile, "kova_unified", "yes", 0) == 1;
}

// Marks the device as unified. Returns 0, or -1 after it has logged at `where` and set code 19.
inline int markUnified(const Where &where = Where::current()) {
  static constexpr char kKey[] = "kova_unified";
  if (TLIBCINFOSetKeyValue(kKey, "yes") >= 0) return 0;
  return fail(where, KOVA_ERR_STORE, "Failed to update %s in %s[0x%04X]", kKey, kInformationFile, TLIBCErrGet());
}

// Whether the weekly report is switched off.
inline bool isReportDisabled() {
  return TLIBCFileCheckKeyValue(kInformationFile, "kova_disable_report", "yes", 0) == 1;
}

}  // namespace kova
