// Whether the weekly report is wanted.
#pragma once

#include <kova/platform.h>

#include "core/device_path.h"

namespace kova {

inline bool isReportDisabled() {
  return TLIBCFileCheckKeyValue(kInformationFile, "kova_disable_report", "yes", 0) == 1;
}

}  // namespace kova
