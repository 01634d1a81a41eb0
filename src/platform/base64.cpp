#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/last_error.h"

namespace {

constexpr uint8_t kNoDigit = 0xFF;

constexpr std::array<uint8_t, 256> kDigits = [] {
  constexpr std::string_view kAlphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::array<uint8_t, 256> digits{};
  digits.fill(kNoDigit);
  uint8_t value = 0;
  for (const char digit : kAlphabet) digits[static_cast<unsigned char>(digit)] = value++;
  return digits;
}();

}  // namespace

using namespace kova::platform;

int TARVEncodingBase64Decode(const char *text, std::size_t length, char *output, std::size_t *output_length) {
  return withLastError(0, [&] {
    require(text != nullptr && output != nullptr && output_length != nullptr);
    if (length % 4 != 0) throw Failure{TLIBC_ERR_DECODE_FAILED};
    std::string_view digits(text, length);
    for (int padding = 0; padding < 2 && digits.ends_with('='); ++padding) digits.remove_suffix(1);
    const std::size_t decoded = digits.size() / 4 * 3 + digits.size() % 4 * 3 / 4;
    if (decoded > *output_length) throw Failure{TLIBC_ERR_TOO_LONG};

    char *out = output;
    uint32_t bits = 0;
    int pending = 0;
    for (const char c : digits) {
      const uint8_t digit = kDigits[static_cast<unsigned char>(c)];
      if (digit == kNoDigit) throw Failure{TLIBC_ERR_DECODE_FAILED};
      bits = bits << 6 | digit;
      pending += 6;
      if (pending >= 8) {
        pending -= 8;
        *out++ = static_cast<char>(bits >> pending);
      }
    }
    // What the last digit has beyond the last byte is zero in every text that an encoder made.
    if ((bits & ((1U << pending) - 1)) != 0) throw Failure{TLIBC_ERR_DECODE_FAILED};
    *output_length = decoded;
    return 1;
  });
}
