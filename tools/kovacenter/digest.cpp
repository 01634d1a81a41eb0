#include "kovacenter/digest.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <stdexcept>
#include <vector>

#include "base/hexadecimal.h"

namespace kova::center {
namespace {

constexpr int kIterations = 10000;

std::string digestHex(const EVP_MD *kind, std::string_view text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned size = 0;
  if (EVP_Digest(text.data(), text.size(), digest, &size, kind, nullptr) != 1)
    throw std::runtime_error("digest failed");
  return hexadecimal({digest, size});
}

}  // namespace

std::string md5Hex(std::string_view text) {
  return digestHex(EVP_md5(), text);
}

std::string sha256Hex(std::string_view text) {
  return digestHex(EVP_sha256(), text);
}

std::string slowDigest(std::string_view text, std::string_view salt) {
  unsigned char key[32];
  if (PKCS5_PBKDF2_HMAC(text.data(), static_cast<int>(text.size()),
                        reinterpret_cast<const unsigned char *>(salt.data()), static_cast<int>(salt.size()),
                        kIterations, EVP_sha256(), sizeof key, key) != 1) {
    throw std::runtime_error("digest failed");
  }
  return hexadecimal(key);
}

std::string randomHex(std::size_t bytes) {
  std::vector<unsigned char> random(bytes);
  if (RAND_bytes(random.data(), static_cast<int>(bytes)) != 1) throw std::runtime_error("no random bytes");
  return hexadecimal(random);
}

bool sameSecret(std::string_view a, std::string_view b) {
  return a.size() == b.size() && CRYPTO_memcmp(a.data(), b.data(), a.size()) == 0;
}

std::string deviceToken(std::string_view serial) {
  std::string token(serial);
  for (int rounds = std::stoi(md5Hex(serial).substr(0, 1), nullptr, 16); rounds >= 0; --rounds) {
    token += md5Hex(token);
    token = md5Hex(token);
  }
  return token;
}

}  // namespace kova::center
