#include <kova/error.h>
#include <kova/platform.h>
#include <kova/transport.h>

#include <cstddef>
#include <cstdint>

#include "core/guard.h"
#include "core/log.h"

using namespace kova;

int TARVKOVAUserAgentNameGet(char *buffer, int32_t size) {
  return guarded([&] {
    if (buffer == nullptr || size < 1) return fail(KOVA_ERR_BAD_PARAMETERS);
    // Not a failure: a request can do without a user agent.
    if (TLIBVxinfoUserAgentGet("kova", buffer, static_cast<std::size_t>(size)) < 0) {
      log(here(), "TLIBVxinfoUserAgentGet failed, tarverr=[0x%04X]", TLIBCErrGet());
    }
    return 0;
  });
}
