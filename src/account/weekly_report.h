// Whether the weekly report is wanted.
#pragma once

#include "core/device_path.h"
#include "kova/platform.h"

namespace kova {

inline bool isReportDisabled() {
  return TLIBCFileCheckKeyValue(kInformationFile, "kova_disable_report", "yes", 0) == 1;
}

}  // namespace kova
