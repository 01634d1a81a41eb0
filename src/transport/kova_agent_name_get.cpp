#include <kova/error.h>
#include <kova/platform.h>
#include <kova/transport.h>

#include "core/guard.h"
#include "core/log.h"

using namespace kova;

int TARVKOVAUserAgentNameGet(char *buffer, int32_t size) {
  return guarded([&] {
    if (buffer == nullptr || size < 1) return fail(KOVA_ERR_BAD_PARAMETERS);
    // A request without a user agent is better than none.
    if (TLIBVxinfoUserAgentGet("kova", buffer, static_cast<size_t>(size)) < 0) {
      log(here(), "TLIBVxinfoUserAgentGet failed, tarverr=[0x%04X]", TLIBCErrGet());
    }
    return 0;
  });
}
