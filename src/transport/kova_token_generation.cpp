// MD5_Init and its like are what the service's token is defined by; they work where the newer interface refuses MD5.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <kova/platform.h>
#include <kova/transport.h>
#include <openssl/md5.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>

#include "core/guard.h"
#include "core/handles.h"
#include "core/log.h"
#include "core/text.h"
#include "transport/identity.h"

namespace kova {
namespace {

constexpr int32_t kDigits = 32;
constexpr int32_t kDigitsSize = kDigits + 1;

// The two digits of each byte.
constexpr std::array<std::array<char, 2>, 256> kHex = [] {
  constexpr char digits[] = "0123456789abcdef";
  std::array<std::array<char, 2>, 256> hex{};
  for (std::size_t byte = 0; byte < hex.size(); ++byte) hex[byte] = {digits[byte >> 4], digits[byte & 15]};
  return hex;
}();

int hexValue(char digit) {
  return digit <= '9' ? digit - '0' : digit - 'a' + 10;
}

bool isAlphanumeric(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

// The first character must not let the serial number pass for something else.
int checkSerial(const char *serial, const Where &where) {
  if (isAlphanumeric(serial[0])) return 0;
  log(where, "Serial number is invalid: [%s][0x%04X]", serial, TLIBCErrGet());
  return -1;
}

// Writes the MD5 of `length` bytes as digits and a NUL: kDigitsSize bytes, which may lie where the text is.
bool putMd5(const char *text, std::size_t length, char *digits) {
  MD5_CTX context;
  unsigned char digest[MD5_DIGEST_LENGTH];
  if (MD5_Init(&context) != 1 || MD5_Update(&context, text, length) != 1 || MD5_Final(digest, &context) != 1) {
    return false;
  }
  for (std::size_t i = 0; i < sizeof digest; ++i) std::memcpy(digits + 2 * i, kHex[digest[i]].data(), 2);
  digits[kDigits] = '\0';
  return true;
}

int md5Of(const char *text, std::size_t length, char *digits, const Where &where) {
  if (putMd5(text, length, digits)) return 0;
  log(where, "Failed to get md5 string from \"%s\".", text);
  return -1;
}

}  // namespace

int readSerial(Serial &serial) {
  if (TLIBGetCustomSerialNumber(serial, 31) >= 0 && !isEmpty(serial)) return 0;
  return TLIBGetSerialNumber(serial, sizeof serial);
}

int TARVVxtokenGenerateToken(const char *text, char *token, int32_t size) {
  if (text == nullptr || token == nullptr || size < 1) {
    log(here(), "Parameter error");
    return -1;
  }
  char digits[kDigitsSize];
  if (md5Of(text, std::strlen(text), digits, here()) < 0) return -1;
  char joined[4095 + kDigitsSize];
  std::size_t length = strnlen(text, 4095);
  std::memcpy(joined, text, length);
  joined[length] = '\0';
  for (int rounds = hexValue(digits[0]) + 1; rounds > 0; --rounds) {
    if (md5Of(joined, length, joined + length, here()) < 0) return -1;
    if (md5Of(joined, length + kDigits, joined, here()) < 0) return -1;
    length = kDigits;
  }
  const std::size_t copied = std::min<std::size_t>(kDigits, static_cast<std::size_t>(size) - 1);
  std::memcpy(token, joined, copied);
  token[copied] = '\0';
  return 0;
}

}  // namespace kova

using namespace kova;

int KovaGetMd5String(const char *text, char *output, int32_t size) {
  // 33 bytes are written, also into what claims to have 32: the least size that is accepted.
  if (text == nullptr || output == nullptr || size < kDigits) return -1;
  std::memset(output, 0, static_cast<std::size_t>(size));
  return putMd5(text, std::strlen(text), output) ? 0 : -1;
}

int TARVKOVAGetSerialNumber(char *buffer, int32_t size) {
  return guarded([&] {
    if (buffer == nullptr || size < 1) {
      log(here(), "Wrong parameters");
      return -1;
    }
    Serial serial = "";
    if (readSerial(serial) < 0) {
      log(here(), "Failed to get serial number from flash. [0x%04X]", TLIBCErrGet());
      return -1;
    }
    std::snprintf(buffer, static_cast<std::size_t>(size), "%s", serial);
    return checkSerial(serial, here());
  });
}

int TARVKOVAGenerateToken(const char *text1, const char *text2, char *serial, int32_t serial_size, char *token,
                          int32_t token_size) {
  return guarded([&] {
    if (!isEmpty(serial)) {
      if (checkSerial(serial, here()) < 0) return -1;
    } else if (TARVKOVAGetSerialNumber(serial, serial_size) < 0) {
      return -1;
    }
    SzText text(1024);
    if (!text.allocated()) {
      log(here(), "Fail to allocate");
      return -1;
    }
    if (!text.append(serial) || (text1 != nullptr && !text.append(text1)) ||
        (text2 != nullptr && !text.append(text2))) {
      log(here(), "Fail to concat string");
      return -1;
    }
    if (kova::TARVVxtokenGenerateToken(text.get(), token, token_size) < 0) {
      log(here(), "TARVVxtokenGenerateToken Failed, err=[0x%04X]", TLIBCErrGet());
      return -1;
    }
    return 0;
  });
}
