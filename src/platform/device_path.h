// Paths of the device.
#pragma once

#include <string>
#include <string_view>

namespace kova::platform {

// Where the device's absolute `path` lies on this machine.
std::string devicePath(std::string_view path);

// Whether `text` is one or more path components that cannot lead out of the directory to which they are appended.
bool isPlainRelativePath(std::string_view text);

}  // namespace kova::platform
