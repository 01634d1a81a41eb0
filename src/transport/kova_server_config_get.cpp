#include <kova/error.h>
#include <kova/platform.h>
#include <kova/transport.h>

#include <cstddef>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "core/guard.h"
#include "core/log.h"
#include "transport/base64.h"

namespace kova {
namespace {

// The hosts as base64 text, which the build is configured with.
constexpr Base64 kFirst(KOVA_HOST_FIRST);
constexpr Base64 kFirstTest(KOVA_HOST_FIRST_TEST);
constexpr Base64 kFirstTest2(KOVA_HOST_FIRST_TEST2);
constexpr Base64 kFirstDev(KOVA_HOST_FIRST_DEV);
constexpr Base64 kService(KOVA_HOST_SERVICE);
constexpr Base64 kServiceTest(KOVA_HOST_SERVICE_TEST);

struct Environment {
  const char *setting;
  const char *first;
  const char *service;
};
constexpr Environment kProduction = {"", kFirst.c_str(), kService.c_str()};
constexpr Environment kOthers[] = {
    {"test", kFirstTest.c_str(), kServiceTest.c_str()},
    {"dev", kFirstDev.c_str(), kServiceTest.c_str()},
    {"test2", kFirstTest2.c_str(), kServiceTest.c_str()},
};

// The environment that the device's settings name; production where they name none.
const Environment &chosenEnvironment() {
  char setting[64] = "";
  if (TLIBCFileGetKeyValue("/etc.defaults/tarvinfo.conf", "tarvpkg_server", setting, sizeof setting, 0) > 0) {
    for (const Environment &other : kOthers) {
      if (std::strcmp(setting, other.setting) == 0) return other;
    }
  }
  return kProduction;
}

// Decodes the host into its URL.
int writeUrl(char (&url)[2048], const char *base64) {
  std::size_t length = std::strlen(base64);
  const std::unique_ptr<char[]> host(new (std::nothrow) char[length + 1]());
  if (!host) return fail(here(), KOVA_ERR_SYSTEM, "out of memory");
  if (TARVEncodingBase64Decode(base64, length, host.get(), &length) == 0) {
    return fail(here(), KOVA_ERR_SYSTEM, "base64 decode failed: [%s], [0x%04X]", base64, TLIBCErrGet());
  }
  std::snprintf(url, sizeof url, "https://%s", host.get());
  return 0;
}

}  // namespace
}  // namespace kova

using namespace kova;

int TARVKOVAServerConfigGet(ServerConfig *config) {
  return guarded([&] {
    if (config == nullptr) return fail(KOVA_ERR_BAD_PARAMETERS);
    const Environment &chosen = chosenEnvironment();
    if (writeUrl(config->first_url, chosen.first) < 0) return -1;
    return writeUrl(config->service_url, chosen.service);
  });
}
