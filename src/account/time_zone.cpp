#include "account/time_zone.h"

#include <kova/error.h>
#include <kova/platform.h>

#include <cstdint>

#include "core/handles.h"

namespace kova {

int readTimeZone(std::string &name, const Where &where) {
  char zone[256] = "";
  int32_t sizeNeeded = -1;
  if (TARVZoneGet(zone, sizeof zone, &sizeNeeded) < 0) {
    log(where, "failed to get time zone, size need: %d, err=[0x%04X]", sizeNeeded, TLIBCErrGet());
    return -1;
  }
  SzHash details(TLIBCSzHashAlloc(1024));
  if (!details) return fail(where, KOVA_ERR_SYSTEM, "Failed to alloc pTZInfo, err=[0x%04X]", TLIBCErrGet());
  // The platform may replace the hash by a larger one.
  TLIBCSzHash *filled = details.release();
  const int count = TARVZoneGetInfo(zone, &filled);
  details.reset(filled);
  if (count < 1) return fail(where, KOVA_ERR_SYSTEM, "failed to get timezone info[0x%04X]", TLIBCErrGet());
  const char *found = TLIBCSzHashGetValue(details.get(), "nameInTZDB");
  if (found == nullptr) return fail(where, KOVA_ERR_SYSTEM, "failed to get tmz[0x%04X]", TLIBCErrGet());
  name = found;
  return 0;
}

}  // namespace kova
