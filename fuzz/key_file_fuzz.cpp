// Reads any account file without a crash; a write keeps every other key and can be read back.
#include <kova/kova.h>

#include <cstring>

#include "fuzz/device.h"
#include "support/hooks.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, std::size_t size) {
  static const FuzzDevice device;
  static AccountInfo written, found;
  hooks::reset();
  device.write("etc/kova.conf", std::string(reinterpret_cast<const char *>(data), size));
  char before[256] = "";
  char after[256] = "";
  found = {};
  TARVKOVAAccountGet(&found);
  const int had = TLIBCFileGetKeyValue("/etc/kova.conf", "other", before, sizeof before, 0);

  written = {};
  std::memcpy(written.vx_auth_key, data, size < 200 ? size : 200);
  std::strcpy(written.kovaIDSerial, "4711");
  const bool stored = TARVKOVAAccountSet(&written) == 0;
  if (TLIBCFileGetKeyValue("/etc/kova.conf", "other", after, sizeof after, 0) != had ||
      std::strcmp(before, after) != 0) {
    std::abort();
  }
  found = {};
  if (stored && written.vx_auth_key[0] != '\0') {
    if (TARVKOVAAccountGet(&found) != 0 || std::strcmp(found.vx_auth_key, written.vx_auth_key) != 0) std::abort();
  }
  return 0;
}
