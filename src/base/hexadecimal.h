// Bytes as lowercase hexadecimal digits.
#pragma once

#include <array>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>

namespace kova {

// Writes the two digits of each byte, without a NUL.
inline void writeHexadecimal(char *digits, std::span<const unsigned char> bytes) {
  // A table of pairs: the device token is made of up to 32 digests.
  static constexpr auto kPairs = [] {
    constexpr char kDigits[] = "0123456789abcdef";
    std::array<std::array<char, 2>, 256> pairs{};
    for (std::size_t byte = 0; byte < pairs.size(); ++byte) pairs[byte] = {kDigits[byte >> 4], kDigits[byte & 15]};
    return pairs;
  }();
  for (const unsigned char byte : bytes) {
    std::memcpy(digits, kPairs[byte].data(), 2);
    digits += 2;
  }
}

inline std::string hexadecimal(std::span<const unsigned char> bytes) {
  std::string digits(2 * bytes.size(), '0');
  writeHexadecimal(digits.data(), bytes);
  return digits;
}

}  // namespace kova
