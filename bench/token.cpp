// The device token beside the MD5 computations that it takes.
#define OPENSSL_SUPPRESS_DEPRECATED
#include <kova/transport.h>
#include <openssl/md5.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

#include "bench/measures.h"
#include "bench/timing.h"

namespace bench {
namespace {

constexpr std::size_t kDigits = std::size_t{2} * MD5_DIGEST_LENGTH;

unsigned char md5(const char *text, std::size_t length) {
  MD5_CTX context;
  unsigned char digest[MD5_DIGEST_LENGTH];
  MD5_Init(&context);
  MD5_Update(&context, text, length);
  MD5_Final(digest, &context);
  return digest[0];
}

// The lengths of the texts whose MD5 makes the token of a serial number; its own MD5 tells how many rounds there are.
std::vector<std::size_t> lengthsFor(const std::string &serial) {
  std::vector<std::size_t> lengths = {serial.size()};
  std::size_t length = serial.size();
  for (int rounds = (md5(serial.data(), length) >> 4) + 1; rounds > 0; --rounds) {
    lengths.push_back(length);
    lengths.push_back(length + kDigits);
    length = kDigits;
  }
  return lengths;
}

}  // namespace

void measureToken(const Setting &setting, Table &table) {
  constexpr unsigned kSerials = 64;
  std::vector<std::string> serials;
  std::vector<std::size_t> lengths;
  for (unsigned i = 0; i < kSerials; ++i) {
    char serial[16];
    std::snprintf(serial, sizeof serial, "2150KV%07u", i * 104729 % 10000000);
    serials.emplace_back(serial);
    for (const std::size_t length : lengthsFor(serial)) lengths.push_back(length);
  }
  const auto ours = [&] {
    char token[kDigits + 1];
    for (std::string &serial : serials) {
      const int size = static_cast<int>(serial.size() + 1);
      require(TARVKOVAGenerateToken(nullptr, nullptr, serial.data(), size, token, sizeof token) == 0, "token");
    }
  };
  const std::string text(2 * kDigits, 'x');
  const auto reference = [&] {
    for (const std::size_t length : lengths) md5(text.data(), length);
  };
  const std::vector<double> times = medianTimes({{ours, 5}, {reference, 5}}, setting.samples(201));
  table.addTimes("token / its MD5 computations", times[0] / kSerials, times[1] / kSerials, 1.10);
}

}  // namespace bench
