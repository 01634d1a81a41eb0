#include <json/value.h>
#include <kova/transport.h>
#include <sys/auxv.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "common/terminal_text.h"
#include "tarvkova/commands.h"
#include "tarvkova/doctor_certificates.h"
#include "tarvkova/doctor_device.h"
#include "tarvkova/doctor_finding.h"
#include "tarvkova/doctor_network.h"
#include "tarvkova/doctor_probe.h"
#include "tarvkova/doctor_proxy.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/spinner.h"
#include "tarvkova/streams.h"
#include "tarvkova/table.h"

namespace kova::cli {
namespace {

enum class Needs { kNothing, kDeviceRoot };

struct Check {
  const char *name;   // for scripts; it stays the same in later versions
  const char *title;  // for people
  std::function<Finding()> make;
  Needs needs = Needs::kNothing;
};

struct Result {
  const Check &check;
  Finding finding;
};

// All checks, in their order. Those of the network look at what the requests to both hosts have met.
std::vector<Check> allChecks(const std::optional<Proxy> &proxy, const Probes &probes) {
  const auto &[first, service] = probes;
  const auto on = [](Finding (*check)(const Probe &), const Probe &probe) {
    return [check, &probe] { return check(probe); };
  };
  return {
      {"device_root", "Device root", checkDeviceRoot},
      {"serial_number", "Serial number", checkSerialNumber, Needs::kDeviceRoot},
      {"mac_address", "MAC address", checkMacAddress, Needs::kDeviceRoot},
      {"api_key", "API key", checkApiKey, Needs::kDeviceRoot},
      {"account_file", "Account file", checkAccountFile, Needs::kDeviceRoot},
      {"schedule", "Schedule", checkSchedule, Needs::kDeviceRoot},
      {"certificates", "Certificates", checkTrustedCertificates},
      {"clock", "Clock", [&] { return checkClock(probes); }},
      {"proxy", "Proxy", [&] { return checkProxy(proxy, probes); }},
      {"first_url_resolution", "Name resolution", on(checkResolution, first)},
      {"first_url_connection", "Connection", on(checkConnection, first)},
      {"first_url_tls", "TLS", on(checkTls, first)},
      {"first_url_answer", "Answer", on(checkAnswer, first)},
      {"service_url_resolution", "Name resolution", on(checkResolution, service)},
      {"service_url_connection", "Connection", on(checkConnection, service)},
      {"service_url_tls", "TLS", on(checkTls, service)},
      {"service_url_answer", "Answer", on(checkAnswer, service)},
  };
}

std::vector<Result> makeChecks(const std::vector<Check> &checks) {
  const bool hasRoot = hasDeviceRoot();
  std::vector<Result> results;
  for (const Check &check : checks) {
    const bool canBeMade = check.needs == Needs::kNothing || hasRoot;
    results.push_back({check, canBeMade ? check.make() : Finding{CheckState::kSkipped, "there is no device root"}});
    Finding &finding = results.back().finding;
    finding.detail = printable(finding.detail);
    finding.advice = printable(finding.advice);
  }
  return results;
}

Json::Value resultArray(const std::vector<Result> &results) {
  constexpr const char *kStates[] = {"ok", "note", "failed", "skipped"};
  Json::Value array(Json::arrayValue);
  for (const auto &[check, finding] : results) {
    Json::Value &element = array.append(Json::objectValue);
    element["name"] = check.name;
    element["state"] = kStates[static_cast<std::size_t>(finding.state)];
    element["detail"] = finding.detail;
    element["advice"] = finding.advice;
  }
  return array;
}

// The text in lines no wider than `width`. Words that are longer, such as paths, are divided.
std::vector<std::string> wrapped(const std::string &text, std::size_t width) {
  std::vector<std::string> lines(1);
  std::istringstream words(text);
  for (std::string word; words >> word;) {
    std::string &line = lines.back();
    if (line.empty() || displayWidth(line) + 1 + displayWidth(word) <= width) {
      line += (line.empty() ? "" : " ") + word;
    } else {
      lines.push_back(word);
    }
    while (displayWidth(lines.back()) > width) {
      std::size_t end = width;  // no character takes more columns than bytes
      while ((lines.back()[end] & 0xC0) == 0x80) --end;
      std::string rest = lines.back().substr(end);
      lines.back().erase(end);
      lines.push_back(std::move(rest));
    }
  }
  return lines;
}

std::string resultTable(const std::vector<Result> &results, std::optional<std::size_t> width) {
  constexpr const char *kStates[] = {"ok", "note", "FAILED", "skipped"};
  constexpr std::size_t kOtherColumns = 26;  // the states and titles, and the gaps behind them
  constexpr std::size_t kNarrowest = 12;
  const std::size_t lineWidth =
      width ? std::max(*width, kOtherColumns + kNarrowest) - kOtherColumns : std::string::npos;
  const Table table({{"STATE"}, {"CHECK"}, {"FOUND", kNarrowest}}, [&](const UseRow &use) {
    for (const auto &[check, finding] : results) {
      TableRow row = {kStates[static_cast<std::size_t>(finding.state)], check.title, ""};
      std::vector<std::string> lines = wrapped(finding.detail, lineWidth);
      if (!finding.advice.empty()) {
        const std::vector<std::string> advice = wrapped("Advice: " + finding.advice, lineWidth);
        lines.insert(lines.end(), advice.begin(), advice.end());
      }
      for (const std::string &line : lines) {
        row[2] = line;
        use(row);
        row[0] = row[1] = "";
      }
    }
  });
  std::ostringstream text;
  table.write(text, width);
  return text.str();
}

Report doctor() {
  // In a program with more rights than its user, what the user has set must not steer the requests.
  if (getauxval(AT_SECURE) != 0) clearenv();
  ServerConfig config = {};
  if (TARVKOVAServerConfigGet(&config) < 0) throw libraryFailure();
  const std::optional<Proxy> proxy = findProxy();
  const Probes probes =
      callWithSpinner([&] { return Probes{probeHost(config.first_url, proxy), probeHost(config.service_url, proxy)}; });

  const std::vector<Check> checks = allChecks(proxy, probes);
  const std::vector<Result> results = makeChecks(checks);
  Report report;
  report.result["checks"] = resultArray(results);
  report.text = resultTable(results, outputWidth());
  const auto failed =
      std::ranges::count(results, CheckState::kFailed, [](const Result &result) { return result.finding.state; });
  if (failed == 0) return report;
  Failure failure(ExitCode::kLocal, 0, "checks_failed",
                  std::to_string(failed) + (failed == 1 ? " check failed" : " checks failed"));
  failure.result = report.result;
  failure.answer = report.text;
  throw failure;
}

}  // namespace

void addDoctor(Command program, ChosenCommand &chosen) {
  addCommand(program, chosen, "doctor", "Find out what keeps this device from the account service; changes nothing",
             doctor);
}

}  // namespace kova::cli
