#include "tarvkova/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/signalfd.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <utility>

#include "tarvkova/outcome.h"
#include "tarvkova/text.h"

namespace kova::cli {
namespace {

// Echo off for a life time. The end of the line is still shown.
class Silence {
 public:
  explicit Silence(int fd) : fd_(fd) {
    if (tcgetattr(fd_, &before_) != 0) throw localFailure("cannot switch off the terminal's echo");
    termios silent = before_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent.c_lflag |= ECHONL;
    tcsetattr(fd_, TCSADRAIN, &silent);
  }
  Silence(const Silence &) = delete;
  Silence &operator=(const Silence &) = delete;
  ~Silence() { tcsetattr(fd_, TCSADRAIN, &before_); }

 private:
  int fd_;
  termios before_{};
};

// The signals that would end or stop the program wait in a descriptor for a life time, those that are ignored excepted.
class HeldSignals {
 public:
  HeldSignals() {
    sigset_t held;
    sigemptyset(&held);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP}) {
      struct sigaction action {};
      if (sigaction(signal, nullptr, &action) == 0 && action.sa_handler != SIG_IGN) sigaddset(&held, signal);
    }
    pthread_sigmask(SIG_BLOCK, &held, &before_);
    descriptor_ = Descriptor(signalfd(-1, &held, SFD_CLOEXEC));
    if (!descriptor_) {
      pthread_sigmask(SIG_SETMASK, &before_, nullptr);
      throw localFailure("cannot watch for signals");
    }
  }
  HeldSignals(const HeldSignals &) = delete;
  HeldSignals &operator=(const HeldSignals &) = delete;
  ~HeldSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }

  // Waits until `fd` can be read. Throws Interrupted when a signal comes first.
  void waitFor(int fd) const {
    pollfd ready[] = {{descriptor_.get(), POLLIN, 0}, {fd, POLLIN, 0}};
    while (poll(ready, 2, -1) < 0) {
      if (errno != EINTR) throw localFailure("cannot wait for the terminal");
    }
    signalfd_siginfo signal;
    if (ready[0].revents != 0 && read(descriptor_.get(), &signal, sizeof signal) == sizeof signal) {
      throw Interrupted{static_cast<int>(signal.ssi_signo)};
    }
  }

 private:
  sigset_t before_{};
  Descriptor descriptor_;
};

}  // namespace

std::optional<Terminal> Terminal::open() {
  Descriptor descriptor(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!descriptor) return std::nullopt;
  return Terminal(std::move(descriptor));
}

void Terminal::write(const std::string &text) {
  [[maybe_unused]] const ssize_t written = ::write(descriptor_.get(), text.data(), text.size());
}

bool Terminal::askOnce(const std::string &question, Secret &answer, bool echo) {
  // A job in the background stops here, before it could take the shell's settings of the terminal for the user's.
  tcdrain(descriptor_.get());
  const HeldSignals signals;
  std::optional<Silence> silence;
  if (!echo) silence.emplace(descriptor_.get());
  write(printable(question));
  try {
    const bool answered = readLine(descriptor_.get(), answer, [&] { signals.waitFor(descriptor_.get()); });
    if (!answered) write("\n");
    return answered;
  } catch (...) {
    write("\n");
    throw;
  }
}

bool Terminal::ask(const std::string &question, Secret &answer, bool echo) {
  for (;;) {
    try {
      return askOnce(question, answer, echo);
    } catch (const Interrupted &interrupted) {
      if (interrupted.signal != SIGTSTP) throw;
    }
    raise(SIGTSTP);
  }
}

bool Terminal::confirm(const std::string &question) {
  Secret answer;
  return ask(question + " [y/N] ", answer, true) && (answer.text() == "y" || answer.text() == "yes");
}

}  // namespace kova::cli
