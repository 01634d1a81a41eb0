// The purchase list against the JSON library's own parse of the same reply.
#include <json/reader.h>
#include <kova/services.h>

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/heap.h"
#include "bench/hooks.h"
#include "bench/measures.h"
#include "bench/timing.h"

namespace bench {
namespace {

std::string replyWith(unsigned entries) {
  std::string reply = R"({"code":"good","entries":[)";
  for (unsigned i = 0; i < entries; ++i) {
    char entry[512];
    std::snprintf(entry, sizeof entry,
                  R"(%s{"app":"Antivirus by McAfee","create_at":"2024-%02u-%02u 12:%02u:%02u","model":"TV218",)"
                  R"("pay_status":"Completed","paypal_id":"PAYER%08x","price":%u.99,"serial":"2150KV%07u",)"
                  R"("transaction_id":"%017u"})",
                  i > 0 ? "," : "", i % 12 + 1, i % 28 + 1, i % 60, i / 60 % 60, i * 2654435761u, i % 300, i % 10000000,
                  i);
    reply += entry;
  }
  return reply + "]}\n";
}

void parse(const std::string &text, Json::Value &value) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  Json::Reader reader;
#pragma GCC diagnostic pop
  require(reader.parse(text.data(), text.data() + text.size(), value, true), "parsing the reply");
}

void list(const std::string &text, Json::Value &result) {
  const CannedReply reply(text);
  const Json::Value none;
  require(TARVKOVAAccountPurchaseList("enu", nullptr, nullptr, none, none, none, none, result) == 0, "purchase list");
}

void measureMemory(const std::string &name, const std::string &text, unsigned entries, Table &table) {
  Json::Value value;
  Json::Value result(Json::objectValue);
  HeapWatch watch;
  parse(text, value);
  const std::ptrdiff_t reply = watch.held();
  value = {};
  watch.restart();
  list(text, result);
  require(result["total"] == entries, "a whole purchase list");
  table.addSizes(name, static_cast<double>(watch.peak()), static_cast<double>(reply), 2.2);
}

}  // namespace

void measurePurchases(const Setting &setting, Table &table) {
  std::vector<double> each;
  for (const unsigned entries : {1000u, 10000u, 100000u}) {
    const std::string text = replyWith(entries);
    Json::Value value;
    const auto clear = [&value] {
      value = Json::Value(Json::objectValue);
      // A large allocation makes the allocator merge the freed blocks here, and not while the next run is timed.
      void *volatile large = std::malloc(1 << 20);
      std::free(large);
    };
    const std::vector<double> times = medianTimes(
        {{[&] { list(text, value); }, 1, clear}, {[&] { parse(text, value); }, 1, clear}}, setting.samples(31));
    clear();
    each.push_back(times[0] / entries);
    const std::string name = "purchases, " + std::to_string(entries);
    table.addTimes(name + " / parse of the reply", times[0], times[1], 1.3);
    measureMemory(name + ": peak memory / parsed reply", text, entries, table);
  }
  table.addLevel("purchases, time of each: slowest / fastest", each, 1.3);
}

}  // namespace bench
