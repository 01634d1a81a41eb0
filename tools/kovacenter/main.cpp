// kovacenter: the account service for development. It listens on the loopback only.
#include <algorithm>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "kovacenter/commands.h"
#include "kovacenter/diagnostic.h"
#include "kovacenter/exit_code.h"

namespace kova::center {
namespace {

// Takes the words behind a "--" off the arguments of the commands that have such words. They must stay as they are: the
// parser would take "[a,b]" for a list of two.
std::vector<std::string> takeWords(int &argc, char **argv) {
  const std::string_view command = argc > 1 ? argv[1] : "";
  if (command != "run" && command != "fault") return {};
  char **const end = argv + argc;
  char **const separator = std::find(argv, end, std::string_view("--"));
  argc = static_cast<int>(separator - argv);
  return {std::min(separator + 1, end), end};
}

// Does what the arguments ask for; returns the exit code.
int run(int argc, char **argv) try {
  const std::vector<std::string> words = takeWords(argc, argv);
  CLI::App program;
  ChosenCommand chosen;
  addCommands(program, chosen, words);
  if (const auto text = parseArguments(program, argc, argv)) {
    std::cout << *text;
    return 0;
  }
  return chosen();
} catch (const CLI::ParseError &error) {
  writeDiagnostic(error.what());
  return kWrongUsage;
}

}  // namespace
}  // namespace kova::center

int main(int argc, char **argv) try {
  const int exitCode = kova::center::run(argc, argv);
  if (!std::cout.flush()) throw std::runtime_error("cannot write the output");
  return exitCode;
} catch (const std::exception &error) {
  kova::center::writeDiagnostic(error.what());
  return kova::center::kFailure;
}
