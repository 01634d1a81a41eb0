// Shows on the terminal that the library is still waiting for the service.
#pragma once

#include <optional>
#include <thread>

#include "base/descriptor.h"
#include "tarvkova/signals.h"

namespace kova::cli {

// While it lives, and once a second has passed, a line on standard error turns and counts the seconds. A signal that
// ends the program erases the line first. Does nothing when standard error is not a terminal,
// or shows the library's log lines.
class Spinner {
 public:
  Spinner();
  Spinner(const Spinner &) = delete;
  Spinner &operator=(const Spinner &) = delete;
  ~Spinner();

 private:
  std::optional<HeldSignals> signals_;
  Descriptor done_;  // readable when the spinner is to end
  std::thread thread_;
};

// Calls a function of the library.
template <class Call>
auto callWithSpinner(Call call) {
  const Spinner spinner;
  return call();
}

}  // namespace kova::cli
