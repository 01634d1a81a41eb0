// Base64 text made at compile time, so that the plain text is not in the binary.
#pragma once

#include <cstddef>

namespace kova {

template <std::size_t length>
class Base64 {
 public:
  consteval explicit Base64(const char (&plain)[length + 1]) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::size_t out = 0;
    for (std::size_t in = 0; in < length; in += 3) {
      const std::size_t left = length - in;
      const auto byte = [&](std::size_t i) -> unsigned {
        return i < left ? static_cast<unsigned char>(plain[in + i]) : 0;
      };
      const unsigned triple = byte(0) << 16 | byte(1) << 8 | byte(2);
      text_[out++] = kDigits[triple >> 18 & 63];
      text_[out++] = kDigits[triple >> 12 & 63];
      text_[out++] = left > 1 ? kDigits[triple >> 6 & 63] : '=';
      text_[out++] = left > 2 ? kDigits[triple & 63] : '=';
    }
    text_[out] = '\0';
  }
  constexpr const char *c_str() const { return text_; }

 private:
  char text_[(length + 2) / 3 * 4 + 1]{};
};

template <std::size_t size>
Base64(const char (&)[size]) -> Base64<size - 1>;

}  // namespace kova
