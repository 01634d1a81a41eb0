#include "tarvkova/doctor_network.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <string>

namespace kova::cli {
namespace {

using std::chrono::system_clock;

// What keeps later steps from being taken.
const char *missingAfter(Step failed) {
  switch (failed) {
    case Step::kRoute:
      return "the proxy cannot be used";
    case Step::kResolution:
      return "its name is not resolved";
    case Step::kConnection:
      return "there is no connection";
    default:
      return "there is no TLS connection";
  }
}

Finding checkStep(const Probe &probe, Step step, const std::string &found) {
  if (probe.failedAt < step) return {CheckState::kSkipped, probe.host + ": " + missingAfter(probe.failedAt)};
  if (probe.failedAt == step) return {CheckState::kFailed, probe.host + ": " + probe.reason, probe.advice};
  return {CheckState::kOk, probe.host + ": " + found};
}

}  // namespace

Finding checkClock(const Probes &probes) {
  const system_clock::time_point now = system_clock::from_time_t(std::time(nullptr));
  const std::string clock = "it is " + dateText(now) + " here";
  bool isPresented = false;
  for (const Probe &probe : probes) {
    if (!probe.certificate) continue;
    isPresented = true;
    const auto &[from, until, issuer] = *probe.certificate;
    if (now < from || now > until) {
      return {
          CheckState::kFailed,
          clock + "; the certificate of " + probe.host + " is valid from " + dateText(from) + " to " + dateText(until),
          "set the clock; if it is right, the certificate has to be replaced"};
    }
  }
  if (!isPresented) return {CheckState::kSkipped, clock + "; no host has presented a certificate"};
  return {CheckState::kOk, clock + "; the certificates are valid at this time"};
}

Finding checkProxy(const std::optional<Proxy> &proxy, const Probes &probes) {
  if (!proxy) return {CheckState::kOk, "none"};
  std::string exceptions;
  for (const Probe &probe : probes) {
    if (!probe.usesProxy) exceptions += (exceptions.empty() ? ", but not for " : " and ") + probe.host;
  }
  if (!exceptions.empty()) exceptions += " (" + proxy->exceptionVariable + ")";
  if (!proxy->shown.empty()) return {CheckState::kOk, proxy->shown + " (" + proxy->variable + ")" + exceptions};
  const bool isUsed = std::ranges::any_of(probes, &Probe::usesProxy);
  return {isUsed ? CheckState::kFailed : CheckState::kNote,
          proxy->variable + " does not hold a proxy's URL" + exceptions,
          "correct or unset " + proxy->variable + ", such as http://proxy.example:3128"};
}

Finding checkResolution(const Probe &probe) {
  if (probe.usesProxy && probe.failedAt > Step::kResolution) {
    return {CheckState::kSkipped, probe.host + ": left to the proxy"};
  }
  return checkStep(probe, Step::kResolution, probe.address.empty() ? "known" : probe.address);
}

Finding checkConnection(const Probe &probe) {
  return checkStep(probe, Step::kConnection, probe.usesProxy ? "through the proxy" : "port 443 is open");
}

Finding checkTls(const Probe &probe) {
  if (!probe.certificate) return checkStep(probe, Step::kTls, "accepted");
  return checkStep(probe, Step::kTls,
                   "its certificate, issued by " + probe.certificate->issuer + ", is valid until " +
                       dateText(probe.certificate->validUntil));
}

Finding checkAnswer(const Probe &probe) {
  constexpr long kServerError = 500;
  Finding finding = checkStep(probe, Step::kAnswer, "it answers with the HTTP status " + std::to_string(probe.status));
  if (finding.state == CheckState::kOk && probe.status >= kServerError) {
    finding.state = CheckState::kNote;
    finding.advice = "try again later; then ask the service's operator";
  }
  return finding;
}

}  // namespace kova::cli
