#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kova::platform {

// A text from the device file, which says what the device is; nothing where it does not say or says it empty.
std::optional<std::string> deviceEntry(std::string_view key);

// The serial number by which the service knows the device: the custom one, else the one from the factory.
std::string serialNumber();

}  // namespace kova::platform
