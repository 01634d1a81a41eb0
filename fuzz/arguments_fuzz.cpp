// Any arguments of the tools; tarvkova also runs, with any standard input and replies of the service. It ends with one
// of its exit codes, a JSON object says the same, and the password is not printed. The arguments of kovacenter are
// parsed.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include "base/descriptor.h"
#include "fuzz/fuzz.h"
#include "kovacenter/commands.h"
#include "kovacenter/faults.h"
#include "tarvkova/streams.h"

int tarvkovaMain(int argc, char **argv);  // the tool's own main function

static std::string output, messages;

// In place of the tool's streams.
namespace kova::cli {

void prepareStreams() {
  output = messages = "";
}
bool isOutputTerminal() {
  return true;
}
std::optional<std::size_t> outputWidth() {
  return 60;
}
bool writeOutput(std::string_view text) {
  return output += text, true;
}
void writeMessage(const std::string &message) {
  messages += message + "\n";
}

}  // namespace kova::cli

// No spinner is shown.
int isatty(int) {
  return 0;
}

static void parseCenterArguments(int argc, char **argv, const std::vector<std::string> &words) {
  CLI::App program("", "kovacenter");
  kova::center::ChosenCommand chosen;
  kova::center::addCommands(*program.require_subcommand(1), chosen, words);
  try {
    check(kova::parseArguments(program, argc, argv).has_value() != static_cast<bool>(chosen));
  } catch (const CLI::ParseError &) {
  }
  kova::center::Fault fault;
  try {
    if (words.empty() || words.back().starts_with('@')) return;  // the name of a file
    setKind(fault, words);
    check(nameOf(fault.kind) == words[0] && fault.number >= 0 && fault.number <= 3600000);
  } catch (const std::invalid_argument &) {
  }
}

void fuzz(FuzzDevice &device, Input input) {
  // Without a controlling terminal, passwords are read from standard input.
  const kova::Descriptor terminal(open("/dev/tty", O_RDWR | O_CLOEXEC));
  if (terminal) ioctl(terminal.get(), TIOCNOTTY);
  const std::string lines = input.next(), passwords = input.next(), others = lines + std::string(input.rest());
  device.write("/input", passwords);
  const kova::Descriptor standardInput(open(device.at("/input").c_str(), O_RDONLY | O_CLOEXEC));
  dup2(standardInput.get(), STDIN_FILENO);
  device.host = "host\n";
  device.account = input.next() + "\n";
  while (!input.rest().empty()) hooks::state().replies.push_back({input.next()});

  std::vector<std::string> arguments = linesOf("program\n" + lines);
  std::vector<char *> argv;
  for (std::string &argument : arguments) argv.push_back(argument.data());
  const int exitCode = tarvkovaMain(static_cast<int>(argv.size()), argv.data());
  check(exitCode >= 0 && exitCode <= 6);
  const auto object = kova::parseJsonObject(output);
  check(object ? (*object)["ok"] == (exitCode == 0) : exitCode == 0 || (output.empty() && !messages.empty()));
  if (others.find("Pass-4711") == std::string::npos) check((output + messages).find("Pass-4711") == std::string::npos);
  parseCenterArguments(static_cast<int>(argv.size()), argv.data(), linesOf(passwords));
}
