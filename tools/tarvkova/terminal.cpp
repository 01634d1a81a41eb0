#include "tarvkova/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>

#include <csignal>

#include "common/terminal_text.h"
#include "tarvkova/outcome.h"
#include "tarvkova/signals.h"

namespace kova::cli {
namespace {

// While it lives, the terminal does not echo what is typed, except for the end of the line.
class EchoOff {
 public:
  explicit EchoOff(int terminal) : terminal_(terminal) {
    if (tcgetattr(terminal_, &previous_) != 0) throw localFailure("cannot switch off the terminal's echo");
    termios silent = previous_;
    silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
    silent.c_lflag |= ECHONL;
    tcsetattr(terminal_, TCSADRAIN, &silent);
  }
  EchoOff(const EchoOff &) = delete;
  EchoOff &operator=(const EchoOff &) = delete;
  ~EchoOff() { tcsetattr(terminal_, TCSADRAIN, &previous_); }

 private:
  int terminal_;
  termios previous_{};
};

// Waits until the terminal can be read. Throws Interrupted when a signal comes first.
void waitForInput(int terminal, const HeldSignals &signals) {
  pollfd ready[] = {{signals.descriptor(), POLLIN, 0}, {terminal, POLLIN, 0}};
  if (retried([&] { return poll(ready, 2, -1); }) < 0) throw localFailure("cannot wait for the terminal");
  if (const int signal = signals.take(); signal != 0) throw Interrupted{signal};
}

}  // namespace

std::optional<Terminal> Terminal::open() {
  Descriptor descriptor(::open("/dev/tty", O_RDWR | O_NOCTTY | O_CLOEXEC));
  if (!descriptor) return std::nullopt;
  return Terminal(std::move(descriptor));
}

void Terminal::write(const std::string &text) {
  writeAll(descriptor_.get(), text);
}

bool Terminal::askOnce(const std::string &question, Secret &answer, bool echo) {
  // A job in the background is stopped here, before it reads the terminal's settings: they are the shell's just then.
  tcdrain(descriptor_.get());
  const HeldSignals signals({SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP});
  if (!signals) throw localFailure("cannot watch for signals");
  std::optional<EchoOff> echoOff;
  if (!echo) echoOff.emplace(descriptor_.get());
  write(printable(question));
  try {
    const bool isAnswered = readLine(descriptor_.get(), answer, [&] { waitForInput(descriptor_.get(), signals); });
    if (!isAnswered) write("\n");
    return isAnswered;
  } catch (...) {
    write("\n");
    throw;
  }
}

bool Terminal::ask(const std::string &question, Secret &answer, bool echo) {
  while (true) {
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
