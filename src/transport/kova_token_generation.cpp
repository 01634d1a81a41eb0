// The token is defined by MD5. These functions are deprecated, but they also work where EVP refuses MD5.
#define OPENSSL_SUPPRESS_DEPRECATED
#include "transport/kova_token_generation.h"

#include <kova/platform.h>
#include <kova/transport.h>
#include <openssl/md5.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#include "base/hexadecimal.h"
#include "base/secret.h"
#include "base/text.h"
#include "core/guard.h"
#include "core/handles.h"
#include "core/log.h"
#include "core/text.h"

namespace kova {
namespace {

constexpr std::size_t kDigits = std::size_t{2} * MD5_DIGEST_LENGTH;
constexpr std::size_t kLongestText = 4095;

int hexadecimalValue(char digit) {
  return digit <= '9' ? digit - '0' : digit - 'a' + 10;
}

bool isAlphanumeric(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9');
}

int checkSerialNumber(const char *serialNumber, const Where &where = Where::current()) {
  if (isAlphanumeric(serialNumber[0])) return 0;
  log(where, "Serial number is invalid: [%s][0x%04X]", serialNumber, TLIBCErrGet());
  return -1;
}

// Writes the MD5 of `length` bytes as kDigits digits and a NUL. The digits may overwrite the text.
bool writeMd5(char *digits, const char *text, std::size_t length) {
  MD5_CTX context;
  unsigned char digest[MD5_DIGEST_LENGTH];
  if (MD5_Init(&context) != 1 || MD5_Update(&context, text, length) != 1 || MD5_Final(digest, &context) != 1) {
    return false;
  }
  writeHexadecimal(digits, digest);
  digits[kDigits] = '\0';
  return true;
}

int writeMd5OrLog(char *digits, const char *text, std::size_t length, const Where &where = Where::current()) {
  if (writeMd5(digits, text, length)) return 0;
  log(where, "Failed to get md5 string from \"%s\".", text);
  return -1;
}

}  // namespace

int readSerialNumber(SerialNumber &serialNumber) {
  static constexpr std::size_t kCustomSize = 31;
  if (TLIBGetCustomSerialNumber(serialNumber, kCustomSize) >= 0 && !isEmpty(serialNumber)) return 0;
  return TLIBGetSerialNumber(serialNumber, sizeof serialNumber);
}

int TARVVxtokenGenerateToken(const char *text, char *token, int32_t size) {
  if (text == nullptr || token == nullptr || size < 1) {
    log(here(), "Parameter error");
    return -1;
  }
  std::size_t length = std::strlen(text);
  char digits[kDigits + 1];
  if (writeMd5OrLog(digits, text, length) < 0) return -1;
  // Each round appends the MD5 of the text to it and replaces the whole by its MD5.
  char joined[kLongestText + sizeof digits];
  const WipedAtEnd wiped(joined);
  length = std::min(length, kLongestText);
  copyText(joined, sizeof joined, std::string_view(text, length));
  for (int rounds = hexadecimalValue(digits[0]) + 1; rounds > 0; --rounds) {
    if (writeMd5OrLog(joined + length, joined, length) < 0) return -1;
    if (writeMd5OrLog(joined, joined, length + kDigits) < 0) return -1;
    length = kDigits;
  }
  copyText(token, static_cast<std::size_t>(size), joined);
  return 0;
}

}  // namespace kova

using namespace kova;

int KovaGetMd5String(const char *text, char *output, int32_t size) {
  // A size of 32 is accepted although 33 bytes are written.
  if (text == nullptr || output == nullptr || size < static_cast<int32_t>(kDigits)) return -1;
  std::memset(output, 0, static_cast<std::size_t>(size));
  return writeMd5(output, text, std::strlen(text)) ? 0 : -1;
}

int TARVKOVAGetSerialNumber(char *buffer, int32_t size) {
  return guarded([&] {
    if (buffer == nullptr || size < 1) {
      log(here(), "Wrong parameters");
      return -1;
    }
    SerialNumber serialNumber = "";
    if (readSerialNumber(serialNumber) < 0) {
      log(here(), "Failed to get serial number from flash. [0x%04X]", TLIBCErrGet());
      return -1;
    }
    copyText(buffer, static_cast<std::size_t>(size), serialNumber);
    return checkSerialNumber(serialNumber);
  });
}

int TARVKOVAGenerateToken(const char *text1, const char *text2, char *serial, int32_t serial_size, char *token,
                          int32_t token_size) {
  return guarded([&] {
    if (!isEmpty(serial)) {
      if (checkSerialNumber(serial) < 0) return -1;
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
    if (TARVVxtokenGenerateToken(text.get(), token, token_size) < 0) {
      log(here(), "TARVVxtokenGenerateToken Failed, err=[0x%04X]", TLIBCErrGet());
      return -1;
    }
    return 0;
  });
}
