// Standard output and standard error.
#pragma once

#include <json/value.h>

#include <cstddef>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

namespace kova::cli {

// Call this first. It keeps standard output for this program alone: what the library starts (hooks, scripts) writes to
// standard error, so that a report is never mixed with anything. A closed output is an error when it is written to, not
// before.
void prepareStreams();

bool isOutputTerminal();

// The columns of the terminal on standard output; nothing when standard output is not a terminal.
std::optional<std::size_t> outputWidth();

// Writes to standard output what `write` puts into the stream, piece by piece. When that fails, says so unless the
// output's reader is gone, and returns false.
bool writeOutput(const std::function<void(std::ostream &)> &write);

// The same for a JSON value as one line of ASCII.
bool writeJson(const Json::Value &value);

// Writes "tarvkova: " and the message as one line to standard error.
void writeMessage(const std::string &message);

}  // namespace kova::cli
