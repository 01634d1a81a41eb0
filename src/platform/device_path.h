#pragma once

#include <string>
#include <string_view>

namespace kova::platform {

// Where the device's absolute `path` lies on this machine.
std::string devicePath(std::string_view path);

// Whether `text` may stand in a path as one or more components that stay below the directory before them.
bool isPlainRelativePath(std::string_view text);

}  // namespace kova::platform
