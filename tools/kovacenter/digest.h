// Digests, random texts and the device token.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace kova::center {

std::string md5Hex(std::string_view text);
std::string sha256Hex(std::string_view text);

// A salted digest that takes long to compute, for passwords that people choose.
std::string slowDigest(std::string_view text, std::string_view salt);

// Random bytes, as two hexadecimal digits each.
std::string randomHex(std::size_t bytes);

// Compares in a time that does not depend on where the texts differ.
bool sameSecret(std::string_view a, std::string_view b);

// What the device of this serial number must send as "vx_token".
std::string deviceToken(std::string_view serial);

}  // namespace kova::center
