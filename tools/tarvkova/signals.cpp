#include "tarvkova/signals.h"

#include <sys/signalfd.h>
#include <unistd.h>

namespace kova::cli {

HeldSignals::HeldSignals(std::initializer_list<int> signals) {
  sigset_t held;
  sigemptyset(&held);
  for (const int signal : signals) {
    struct sigaction action = {};
    if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&held, signal);
  }
  descriptor_ = Descriptor(signalfd(-1, &held, SFD_CLOEXEC | SFD_NONBLOCK));
  if (!descriptor_) sigemptyset(&held);
  pthread_sigmask(SIG_BLOCK, &held, &previousMask_);
}

HeldSignals::~HeldSignals() {
  pthread_sigmask(SIG_SETMASK, &previousMask_, nullptr);
}

int HeldSignals::take() const {
  signalfd_siginfo signal{};
  return read(descriptor(), &signal, sizeof signal) == sizeof signal ? static_cast<int>(signal.ssi_signo) : 0;
}

void endBySignal(int signal) {
  std::signal(signal, SIG_DFL);
  sigset_t unblocked;
  sigemptyset(&unblocked);
  sigaddset(&unblocked, signal);
  pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
  raise(signal);
  _exit(128 + signal);
}

}  // namespace kova::cli
