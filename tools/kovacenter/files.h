// Files, read and written whole; a failure is thrown.
#pragma once

#include <sys/types.h>

#include <filesystem>
#include <string>
#include <string_view>

#include "base/descriptor.h"

namespace kova::center {

// Throws a std::system_error for errno.
[[noreturn]] void throwErrno(const std::string &what);

// Opens a file, close-on-exec.
Descriptor openFile(const std::filesystem::path &path, int flags, mode_t mode = 0);

std::string readFile(const std::filesystem::path &path);

// Replaces the whole file at once: a reader sees the old or the new one.
void writeFile(const std::filesystem::path &path, std::string_view content, mode_t mode);

}  // namespace kova::center
