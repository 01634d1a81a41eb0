// The checks of "tarvkova doctor" on the way to the service's hosts. They judge what became of the request to each.
#pragma once

#include <array>
#include <optional>

#include "tarvkova/doctor_finding.h"
#include "tarvkova/doctor_probe.h"
#include "tarvkova/doctor_proxy.h"

namespace kova::cli {

using Probes = std::array<Probe, 2>;

Finding checkClock(const Probes &probes);
Finding checkProxy(const std::optional<Proxy> &proxy, const Probes &probes);
Finding checkResolution(const Probe &probe);
Finding checkConnection(const Probe &probe);
Finding checkTls(const Probe &probe);
Finding checkAnswer(const Probe &probe);

}  // namespace kova::cli
