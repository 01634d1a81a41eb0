#include "tarvkova/streams.h"

#include <fcntl.h>
#include <json/writer.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iterator>
#include <memory>
#include <ostream>
#include <streambuf>
#include <utility>

#include "base/descriptor.h"
#include "base/json.h"
#include "common/terminal_text.h"

namespace kova::cli {
namespace {

int output = -1;

// Passes on to standard output what a stream puts into it.
class OutputBuffer : public std::streambuf {
 public:
  explicit OutputBuffer(bool isJson) : isJson_(isJson) { clear(); }

  int error() const { return error_; }  // of the write that failed

 protected:
  int_type overflow(int_type character) override {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(character, traits_type::eof())) sputc(traits_type::to_char_type(character));
    return traits_type::not_eof(character);
  }
  int sync() override {
    std::string text(pbase(), pptr());
    clear();
    if (isJson_) text = withDelEscaped(std::move(text));
    if (writeAll(output, text)) return 0;
    error_ = errno;
    return -1;
  }

 private:
  void clear() { setp(std::begin(buffer_), std::end(buffer_)); }

  const bool isJson_;
  int error_ = 0;
  char buffer_[65536];
};

// Returns whether all was written.
bool writeThrough(OutputBuffer &buffer, const std::function<void(std::ostream &)> &write) {
  std::ostream stream(&buffer);
  stream.exceptions(std::ios::badbit);  // so that what cannot be written is not made either
  try {
    write(stream);
    stream.flush();
    return true;
  } catch (const std::ios::failure &) {
    // The buffer knows why.
  }
  if (buffer.error() != EPIPE) {
    writeMessage(std::string("cannot write the output: ") + std::strerror(buffer.error()));
  }
  return false;
}

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
  return terminalWidth(output);
}

bool writeOutput(const std::function<void(std::ostream &)> &write) {
  OutputBuffer buffer(false);
  return writeThrough(buffer, write);
}

bool writeJson(const Json::Value &value) {
  // As jsonLine() does, but without holding the line.
  const std::unique_ptr<Json::StreamWriter> writer(jsonLineWriters().newStreamWriter());
  OutputBuffer buffer(true);
  return writeThrough(buffer, [&](std::ostream &out) {
    writer->write(value, &out);
    out << '\n';
  });
}

void writeMessage(const std::string &message) {
  writeAll(STDERR_FILENO, "tarvkova: " + printable(message) + "\n");
}

}  // namespace kova::cli
