#include "tarvkova/signals.h"

#include <unistd.h>

#include <csignal>

namespace kova::cli {

void endBy(int signal) {
  std::signal(signal, SIG_DFL);
  sigset_t unblocked;
  sigemptyset(&unblocked);
  sigaddset(&unblocked, signal);
  pthread_sigmask(SIG_UNBLOCK, &unblocked, nullptr);
  raise(signal);
  _exit(128 + signal);
}

}  // namespace kova::cli
