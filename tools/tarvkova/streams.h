// Standard output and standard error.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kova::cli {

// Call this first. It keeps standard output for this program alone: what the library starts (hooks, scripts) writes to
// standard error, so that a report is never mixed with anything. A closed output is an error when it is written to, not
// before.
void prepareStreams();

bool isOutputTerminal();

// The columns of the terminal on standard output; nothing when standard output is not a terminal.
std::optional<std::size_t> outputWidth();

// Writes to standard output. When that fails, says so unless the output's reader is gone, and returns false.
bool writeOutput(std::string_view text);

// Writes "tarvkova: " and the message as one line to standard error.
void writeMessage(const std::string &message);

}  // namespace kova::cli
