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

// Makes the directory, or takes one that is there if it belongs to this user. An existing directory that lets others do
// more than `mode` gets that mode, and must be empty or hold the file `known`, if any. A symbolic link is followed only
// where `followsLink` says so.
void claimDirectory(const std::filesystem::path &directory, mode_t mode, bool followsLink, const char *known = nullptr);

std::string readFile(const std::filesystem::path &path);

// Replaces the whole file at once: a reader sees the old or the new one.
void writeFile(const std::filesystem::path &path, std::string_view content, mode_t mode);

}  // namespace kova::center
