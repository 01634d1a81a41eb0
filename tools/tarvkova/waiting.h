// A sign of life while the library waits for the service.
#pragma once

#include <thread>

#include "tarvkova/descriptor.h"

namespace kova::cli {

// For its life time: after a second a spinner on standard error, where that is a terminal; elsewhere nothing. A signal
// that ends the program erases the spinner first. Reads and writes nothing of the environment.
class Waiting {
 public:
  Waiting();
  Waiting(const Waiting &) = delete;
  Waiting &operator=(const Waiting &) = delete;
  ~Waiting();

 private:
  Descriptor wake_;
  std::thread spinner_;
};

// Calls the library.
template <class Call>
auto whileWaiting(Call call) {
  const Waiting waiting;
  return call();
}

}  // namespace kova::cli
