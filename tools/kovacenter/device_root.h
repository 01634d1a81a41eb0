// Device roots: directories that hold a whole device.
#pragma once

#include <filesystem>
#include <string>

#include "kovacenter/state.h"

namespace kova::center {

struct DeviceOptions {
  std::filesystem::path root;
  std::string serial;  // empty: a random one
  std::string customSerial;
  std::string mac;  // empty: a random one
  std::string relayAccount;
  std::string relayAlias;
  std::string ddnsAccount;
  std::string ddnsHost;
  std::string environment;  // empty: production
  bool force = false;       // write into a directory that holds something already

  bool operator==(const DeviceOptions &) const = default;
};

// Makes a device root that trusts this state's authority and is known to its service. The directory must be this
// user's, and not be open to writing by others: what lies in a device root is run. One whose making was cut short is
// made anew. Without options that say how to make it, a device root that is there already stays as it is; throws where
// that trusts another authority than this state's.
void provideDeviceRoot(const State &state, const DeviceOptions &options);

}  // namespace kova::center
