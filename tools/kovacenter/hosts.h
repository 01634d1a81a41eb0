// The host names of the service environments.
#pragma once

#include <span>
#include <string_view>

namespace kova::center {

enum class HostKind { kNone, kFirst, kService };

// The names of both kinds.
std::span<const std::string_view> hostNames();

HostKind kindOfHost(std::string_view host);

}  // namespace kova::center
