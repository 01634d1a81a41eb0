// A request of the journal as a line for people.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kova::center {

// The request's number, time of day (UTC), method, host and path, action and status, the reply's result word and the
// fault that the request met. `entry` is a line of the journal file; nothing where it does not tell of a request. The
// rest of the form and the reply is left out: they hold passwords and keys. `width`, if any, is how wide the line may
// be.
std::optional<std::string> requestLine(std::string_view entry, std::optional<std::size_t> width);

}  // namespace kova::center
