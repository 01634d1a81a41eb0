#include "tarvkova/waiting.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <string>
#include <utility>

#include "tarvkova/signals.h"

namespace kova::cli {
namespace {

constexpr std::array kSignals = {SIGINT, SIGTERM, SIGHUP};
constexpr unsigned char kDone = 0;

// Where signals go while the spinner runs.
volatile std::sig_atomic_t wakeSpinner = -1;

extern "C" void passOn(int signal) {
  const int error = errno;
  const auto byte = static_cast<unsigned char>(signal);
  [[maybe_unused]] const ssize_t written = write(wakeSpinner, &byte, 1);
  errno = error;
}

void show(const std::string &text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

// Runs until a byte comes: kDone, or the number of the signal that ends the program.
void spin(const Descriptor &wake) {
  using std::chrono::steady_clock;
  const auto start = steady_clock::now();
  std::size_t shown = 0;
  pollfd ready{wake.get(), POLLIN, 0};
  for (std::size_t turn = 0; poll(&ready, 1, turn == 0 ? 1000 : 125) == 0; ++turn) {
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(steady_clock::now() - start).count();
    const std::string line = std::string("\r") + "|/-\\"[turn % 4] + " waiting, " + std::to_string(seconds) + " s";
    shown = line.size();
    show(line);
  }
  unsigned char byte = kDone;
  const bool interrupted = read(wake.get(), &byte, 1) == 1 && byte != kDone;
  // With the spinner goes the "^C" that the terminal may have put behind it.
  if (shown > 0 || interrupted) show("\r" + std::string(shown + 2, ' ') + "\r");
  if (interrupted) endBy(byte);
}

void setHandlers(void (*handler)(int)) {
  for (const int signal : kSignals) {
    struct sigaction action {};
    if (sigaction(signal, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
    action = {};
    action.sa_handler = handler;
    action.sa_flags = SA_RESTART;
    sigaction(signal, &action, nullptr);
  }
}

}  // namespace

Waiting::Waiting() {
  int ends[2];
  if (isatty(STDERR_FILENO) != 1 || pipe2(ends, O_CLOEXEC) != 0) return;
  Descriptor wake(ends[0]);
  wake_ = Descriptor(ends[1]);
  // Signals interrupt the thread that calls the library, if any; the spinner only reads of them.
  sigset_t all, before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  spinner_ = std::thread([wake = std::move(wake)] { spin(wake); });
  wakeSpinner = wake_.get();
  setHandlers(passOn);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Waiting::~Waiting() {
  if (!spinner_.joinable()) return;
  setHandlers(SIG_DFL);
  [[maybe_unused]] const ssize_t written = write(wake_.get(), &kDone, 1);
  spinner_.join();
}

}  // namespace kova::cli
