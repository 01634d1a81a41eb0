#include "kovacenter/hosts.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <iterator>

namespace kova::center {
namespace {

constexpr std::string_view kHosts[] = {KOVA_HOST_FIRST,     KOVA_HOST_FIRST_TEST, KOVA_HOST_FIRST_TEST2,
                                       KOVA_HOST_FIRST_DEV, KOVA_HOST_SERVICE,    KOVA_HOST_SERVICE_TEST};
constexpr std::ptrdiff_t kFirstHosts = 4;  // the first URL has these first ones

}  // namespace

std::span<const std::string_view> hostNames() {
  return kHosts;
}

HostKind kindOfHost(std::string_view host) {
  const auto lower = [](unsigned char each) { return std::tolower(each); };
  const auto *found = std::ranges::find_if(
      kHosts, [&](std::string_view name) { return std::ranges::equal(name, host, {}, lower, lower); });
  if (found == std::end(kHosts)) return HostKind::kNone;
  return found - kHosts < kFirstHosts ? HostKind::kFirst : HostKind::kService;
}

}  // namespace kova::center
