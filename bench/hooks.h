// What the program puts in place of libcurl's functions: replies without a network, and transfers taken down to be
// repeated by libcurl alone.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// While it lives every transfer ends at once: with `result`, and with status 200 and `body` where that is good.
class CannedReply {
 public:
  explicit CannedReply(std::string_view body, CURLcode result = CURLE_OK);
  ~CannedReply();
  CannedReply(const CannedReply &) = delete;
  CannedReply &operator=(const CannedReply &) = delete;
};

// The options of one transfer, in their order. Where the reply goes is the transfer's own business.
struct Option {
  CURLoption name;
  long number = 0;
  std::string text;  // of a list, its only line
};
using Transfer = std::vector<Option>;

// The transfers that `work` makes.
std::vector<Transfer> transfersOf(const std::function<void()> &work);

// The same transfer with libcurl and nothing else, on a handle of its own.
void repeat(const Transfer &transfer);

}  // namespace bench
