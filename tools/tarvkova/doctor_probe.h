// The request that "tarvkova doctor" sends to a host of the service. It is for the base URL alone, and holds nothing of
// the device or its account.
#pragma once

#include <chrono>
#include <optional>
#include <string>

#include "tarvkova/doctor_proxy.h"

namespace kova::cli {

// The steps of a request, in the order in which they are taken.
enum class Step { kRoute, kResolution, kConnection, kTls, kAnswer, kNone };

struct Certificate {
  std::chrono::system_clock::time_point validFrom;
  std::chrono::system_clock::time_point validUntil;
  std::string issuer;
};

// What became of the request to a host.
struct Probe {
  std::string host;
  bool usesProxy = false;
  Step failedAt = Step::kNone;
  std::string reason;                      // of the failure
  std::string advice;                      // against it
  std::string address;                     // of the host, or of the proxy
  std::optional<Certificate> certificate;  // that the host has presented, be it good or bad
  long status = 0;                         // of the answer
};

// Makes the request; it takes at most 15 seconds where the system's resolver ends in time.
Probe probeHost(const std::string &baseUrl, const std::optional<Proxy> &proxy);

// As the checks show it.
std::string dateText(std::chrono::system_clock::time_point time);

}  // namespace kova::cli
