// Reads a password from a file, from the terminal or from standard input.
#pragma once

#include <filesystem>
#include <string>

namespace kova::center {

// Reads the password from the first line of the file or, without one and for "-", of standard input. Throws where it is
// empty.
std::string readPassword(const std::filesystem::path &file);

}  // namespace kova::center
