#include "tarvkova/streams.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "tarvkova/text.h"

namespace kova::cli {
namespace {

int output = -1;

bool writeAll(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = write(fd, text.data(), text.size());
    if (written < 0 && errno != EINTR) return false;
    if (written > 0) text.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

}  // namespace

void prepareStreams() {
  output = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  // Nothing that is opened later may take the place of a closed stream.
  int filler = -1;
  do {
    filler = open("/dev/null", O_RDWR);
  } while (filler >= 0 && filler <= STDERR_FILENO);
  if (filler >= 0) close(filler);
  dup2(STDERR_FILENO, STDOUT_FILENO);
  // A handler that does nothing: writing then fails, and programs started are not born with the signal ignored.
  struct sigaction quiet {};
  quiet.sa_handler = [](int) {};
  sigaction(SIGPIPE, &quiet, nullptr);
}

bool outputIsTerminal() {
  return isatty(output) == 1;
}

std::optional<std::size_t> outputWidth() {
  if (!outputIsTerminal()) return std::nullopt;
  winsize size{};
  return ioctl(output, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

bool writeOutput(std::string_view text) {
  if (writeAll(output, text)) return true;
  const int error = errno;
  if (error != EPIPE) complain(std::string("cannot write the output: ") + std::strerror(error));
  return false;
}

void complain(const std::string &message) {
  writeAll(STDERR_FILENO, "tarvkova: " + printable(message) + "\n");
}

}  // namespace kova::cli
