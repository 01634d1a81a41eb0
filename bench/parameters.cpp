// Building the parameters of a request: the time for each should not depend on how many there are.
#include <kova/platform.h>
#include <kova/transport.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "bench/hooks.h"
#include "bench/measures.h"
#include "bench/timing.h"

namespace bench {
namespace {

using Hash = std::unique_ptr<TLIBCSzHash, decltype(&TLIBCSzHashFree)>;

Hash parameters(unsigned count) {
  Hash hash(TLIBCSzHashAlloc(1024), TLIBCSzHashFree);
  TLIBCSzHashSetValue(hash.get(), "vx_sn", "2150KV0000001");
  for (unsigned i = 1; i < count; ++i) {
    const std::string number = std::to_string(100000 + i);
    TLIBCSzHashSetValue(hash.get(), ("key" + number).c_str(), ("a value, " + number).c_str());
  }
  return hash;
}

void send(TLIBCSzHash *hash) {
  HttpsRequest request{};
  request.base = "https://account.kova.example";
  request.path = "dnsauth.php";
  request.params = hash;
  HttpsResponse response;
  TARVKOVAHttpsRequestSend(&request, &response);
  require(response.transfer_result == CURLE_COULDNT_CONNECT, "building parameters");
}

}  // namespace

void measureParameters(const Setting &setting, Table &table) {
  constexpr unsigned kCounts[] = {1, 10, 100, 1000, 10000};
  constexpr unsigned kLargestBatch = 400;
  const CannedReply noNetwork({}, CURLE_COULDNT_CONNECT);
  std::vector<Hash> hashes;
  std::vector<Contender> contenders;
  for (const unsigned count : kCounts) {
    TLIBCSzHash *hash = hashes.emplace_back(parameters(count)).get();
    contenders.push_back({[hash] { send(hash); }, std::max(1u, std::min(kLargestBatch, 10000 / count))});
  }
  const std::vector<std::vector<double>> times = sampleTimes(contenders, setting.samples(201));
  std::vector<double> each;
  for (std::size_t i = 1; i < times.size(); ++i) {
    std::vector<double> differences;
    std::ranges::transform(times[i], times[0], std::back_inserter(differences), std::minus());
    each.push_back(medianOf(std::move(differences)) / (kCounts[i] - 1));
    table.addTimes("parameters, " + std::to_string(kCounts[i]) + ": time of each / that of 10", each.back(), each[0],
                   0);
  }
  table.addLevel("parameters, time of each: slowest / fastest", each, 1.5);
}

}  // namespace bench
