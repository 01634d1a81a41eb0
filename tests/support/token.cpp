#include "support/token.h"

#include <openssl/evp.h>

#include "base/hexadecimal.h"

std::string expectedMd5(const std::string &text) {
  unsigned char digest[16];
  EVP_Digest(text.data(), text.size(), digest, nullptr, EVP_md5(), nullptr);
  return kova::hexadecimal(digest);
}

std::string expectedToken(const std::string &text) {
  std::string token = text.substr(0, 4095);
  const int rounds = std::stoi(expectedMd5(text).substr(0, 1), nullptr, 16) + 1;
  for (int i = 0; i < rounds; ++i) token = expectedMd5((token + expectedMd5(token)).substr(0, 4128));
  return token;
}
