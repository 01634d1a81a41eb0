// What the device file says about the device.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kova::platform {

// An entry of the device file; nothing where it is missing or empty.
std::optional<std::string> deviceEntry(std::string_view key);

// The serial number by which the service knows the device: the custom one, else the one from the factory.
std::string serialNumber();

}  // namespace kova::platform
