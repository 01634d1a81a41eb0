// Any arguments of tarvkova, divided by blanks, with any standard input, account in use and replies of the service: it
// ends with one of its exit codes, a JSON object says the same, and the password is not printed.
#include <fcntl.h>
#include <sys/ioctl.h>

#include "base/descriptor.h"
#include "fuzz/fuzz.h"
#include "tarvkova/streams.h"

int tarvkovaMain(int argc, char **argv);  // the tool's own main function

static std::ostringstream output;
static std::string messages;

// In place of the tool's streams.
void kova::cli::prepareStreams() {}
bool kova::cli::isOutputTerminal() {
  return true;
}
std::optional<std::size_t> kova::cli::outputWidth() {
  return 60;
}
bool kova::cli::writeOutput(const std::function<void(std::ostream &)> &write) {
  return write(output), true;
}
bool kova::cli::writeJson(const Json::Value &value) {
  return output << jsonLine(value), true;
}
void kova::cli::writeMessage(const std::string &message) {
  messages += message + "\n";
}

void fuzz(FuzzDevice &device, const std::string &input) {
  const Texts parts = split(input, '\f', 3);
  Texts arguments = split("program " + parts[0], ' ');
  std::vector<char *> argv;
  for (std::string &argument : arguments) argv.push_back(argument.data());
  // Without a controlling terminal, passwords are read from standard input.
  ioctl(kova::Descriptor(open("/dev/tty", O_RDWR | O_CLOEXEC)).get(), TIOCNOTTY);
  device.write("/input", parts[1]);
  check(std::freopen(device.at("/input").c_str(), "r", stdin) != nullptr);
  device.host = "host\n";
  device.account = parts[2] + "\n";
  for (std::size_t i = 3; i < parts.size(); ++i) hooks::state().replies.push_back({parts[i]});
  output.str("");
  messages = "";
  const int exitCode = tarvkovaMain(static_cast<int>(argv.size()), argv.data());
  check(exitCode >= 0 && exitCode <= 6);
  const auto object = kova::parseJsonObject(output.str());
  check(object ? (*object)["ok"] == (exitCode == 0) : exitCode == 0 || output.str().empty() != messages.empty());
  const std::string secret = "Pass-4711", printed = output.str() + messages;
  const bool isGivenElsewhere = input.find(secret) != input.rfind(secret);
  check(printed.find(secret) == std::string::npos || isGivenElsewhere || parts[1].find(secret) == std::string::npos);
}
