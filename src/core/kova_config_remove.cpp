#include <kova/account.h>
#include <kova/platform.h>
#include <unistd.h>

#include <string>

#include "base/descriptor.h"
#include "core/device_path.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/log.h"

using namespace kova;

int TARVKOVAAccountRemove(void) {
  static constexpr unsigned kSignedOut = 4;
  return guarded([] {
    const Plugin plugin(TLIBPluginSDKInit("kova", "kova/logout"));
    if (!plugin) {
      log(here(), "TLIBPluginSDKInit failed");
      return -1;
    }
    // The other components are told before the file is gone, so that they can still read the account.
    if (TLIBPluginAction(plugin.get(), kSignedOut) < 0) {
      log(here(), "TLIBPluginAction failed, action=%u", kSignedOut);
      return -1;
    }
    const std::string path = DevicePath(kAccountFile).c_str();
    if (unlink(path.c_str()) == 0) syncDirectoryOf(path);  // the account stays removed when the power fails
    return 0;
  });
}
