// The weekly report: as the scheduler knows it, and whether it is wanted.
#pragma once

#include "core/device_path.h"
#include "kova/platform.h"

namespace kova {

inline constexpr char kReportCommand[] = "/usr/tarv/bin/tarvkova --report_info";

inline bool isReportDisabled() {
  return TLIBCFileCheckKeyValue(kInformationFile, "kova_disable_report", "yes", 0) == 1;
}

}  // namespace kova
