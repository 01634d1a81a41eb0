#include "tarvkova/spinner.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstddef>
#include <functional>
#include <string>

#include "tarvkova/log_lines.h"

namespace kova::cli {
namespace {

void spin(const HeldSignals &signals, const Descriptor &done) {
  using std::chrono::steady_clock;
  const auto start = steady_clock::now();
  std::size_t shown = 0;
  pollfd ready[] = {{signals.descriptor(), POLLIN, 0}, {done.get(), POLLIN, 0}};
  for (std::size_t frame = 0; retried([&] { return poll(ready, 2, frame == 0 ? 1000 : 125); }) == 0; ++frame) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start).count();
    const std::string line = std::string("\r") + "|/-\\"[frame % 4] + " waiting, " + std::to_string(seconds) + " s";
    shown = line.size();
    writeAll(STDERR_FILENO, line);
  }
  const int signal = signals.take();
  // The terminal may have echoed a "^C" behind the line: it is erased, too.
  if (shown > 0 || signal != 0) writeAll(STDERR_FILENO, "\r" + std::string(shown + 2, ' ') + "\r");
  if (signal != 0) endBySignal(signal);
}

}  // namespace

Spinner::Spinner() {
  if (isatty(STDERR_FILENO) != 1 || areLogLinesShown()) return;
  done_ = Descriptor(eventfd(0, EFD_CLOEXEC));
  if (!done_) return;
  signals_.emplace({SIGINT, SIGTERM, SIGHUP});
  if (*signals_) thread_ = std::thread(spin, std::cref(*signals_), std::cref(done_));
}

Spinner::~Spinner() {
  if (!thread_.joinable()) return;
  eventfd_write(done_.get(), 1);
  thread_.join();
}

}  // namespace kova::cli
