// The signals that end or stop the program.
#pragma once

#include <csignal>
#include <initializer_list>

#include "base/descriptor.h"

namespace kova::cli {

// While it lives, the signals given are blocked and wait in a descriptor. Those that the program ignores stay ignored.
class HeldSignals {
 public:
  explicit HeldSignals(std::initializer_list<int> signals);
  HeldSignals(const HeldSignals &) = delete;
  HeldSignals &operator=(const HeldSignals &) = delete;
  ~HeldSignals();

  // False when the system gave no descriptor: then no signal is blocked.
  explicit operator bool() const { return static_cast<bool>(descriptor_); }
  // Readable as soon as a signal waits.
  int descriptor() const { return descriptor_.get(); }
  // Takes a signal that waits; 0 when none does.
  int take() const;

 private:
  Descriptor descriptor_;
  sigset_t previousMask_{};
};

// Ends the program by the signal itself: a shell that runs it in a loop then ends the loop, too.
[[noreturn]] void endBySignal(int signal);

}  // namespace kova::cli
