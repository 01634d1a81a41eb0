#include "tarvkova/streams.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "base/descriptor.h"
#include "tarvkova/text.h"

namespace kova::cli {
namespace {

int output = -1;

}  // namespace

void prepareStreams() {
  output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  // A stream that is closed is filled, so that nothing opened later takes its number.
  Descriptor filler;
  do {
    filler.release();
    filler = Descriptor(open("/dev/null", O_RDWR));
  } while (filler && filler.get() <= STDERR_FILENO);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  // With a handler that does nothing, writing to a closed pipe fails. Were the signal ignored, the programs that are
  // started would ignore it, too.
  struct sigaction action = {};
  action.sa_handler = [](int) {};
  sigaction(SIGPIPE, &action, nullptr);
}

bool isOutputTerminal() {
  return isatty(output) == 1;
}

std::optional<std::size_t> outputWidth() {
  if (!isOutputTerminal()) return std::nullopt;
  winsize size{};
  return ioctl(output, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool writeOutput(std::string_view text) {
  if (writeAll(output, text)) return true;
  const int error = errno;
  if (error != EPIPE) writeMessage(std::string("cannot write the output: ") + std::strerror(error));
  return false;
}

void writeMessage(const std::string &message) {
  writeAll(STDERR_FILENO, "tarvkova: " + printable(message) + "\n");
}

}  // namespace kova::cli
