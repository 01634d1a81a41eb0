// What the program defines in place of libcurl's functions: replies without a network, and the recording of transfers,
// which libcurl alone can then repeat.
#pragma once

#include <curl/curl.h>

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace bench {

// While it exists every transfer ends at once with `result`; where that is CURLE_OK, with status 200 and `body`.
class CannedReply {
 public:
  explicit CannedReply(std::string_view body, CURLcode result = CURLE_OK);
  ~CannedReply();
  CannedReply(const CannedReply &) = delete;
  CannedReply &operator=(const CannedReply &) = delete;
};

// The options of one transfer, in their order, without the values that say where the reply goes.
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
