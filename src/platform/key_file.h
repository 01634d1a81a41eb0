// Reading one key of a key file.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace kova::platform {

// The settings of the device.
inline constexpr char kInformationFile[] = "/etc/tarvinfo.conf";

// The value of `key` in the device's key file `file`; nothing where the key or the file is missing.
std::optional<std::string> readKey(std::string_view file, std::string_view key);

}  // namespace kova::platform
