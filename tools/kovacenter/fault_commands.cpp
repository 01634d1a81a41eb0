#include <string>
#include <vector>

#include "kovacenter/commands.h"
#include "kovacenter/management.h"

namespace kova::center {
namespace {

struct FaultOptions : StateOptions {
  Fault fault;
  const CLI::App *command = nullptr;  // has the words of the kind that no "--" precedes
  std::vector<std::string> words;     // the others
};

int add(const FaultOptions &options) {
  std::vector<std::string> words = options.command->remaining();
  words.insert(words.end(), options.words.begin(), options.words.end());
  if (words.empty()) throw CLI::RequiredError("KIND");
  Fault fault = options.fault;
  setKind(fault, words);
  createFault(State::existing(options.state), fault);
  return 0;
}

int list(const StateOptions &options) {
  listFaults(State::existing(options.state));
  return 0;
}

int clear(const StateOptions &options) {
  deleteFaults(State::existing(options.state));
  return 0;
}

}  // namespace

void addFaultCommands(CLI::App &program, ChosenCommand &chosen, const std::vector<std::string> &words) {
  CLI::App &faults = *program.add_subcommand("fault", "Misbehaviour of the service")->require_subcommand(1);
  const auto [command, options] =
      addStateCommand(faults, chosen, "add", "Misbehave at the next requests that match: ... KIND [ARGUMENT...]", add);
  command->add_option("--script", options.fault.script, "Only at this script")
      ->check(CLI::IsMember({"dnsauth.php", "account.php", "api/query.php"}));
  command->add_option("--action", options.fault.action, "Only at this action");
  command->add_option("--count", options.fault.remaining, "At how many requests")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000000));
  command->allow_extras()->footer(
      "KIND: status CODE, body TEXT|@FILE, delay MILLISECONDS, redirect CODE LOCATION, cut, reset, drip MILLISECONDS,"
      " garbage or silence\n\n" +
      command->get_footer());
  options.command = &*command;
  options.words = words;

  addStateCommand(faults, chosen, "list", "List what is still to come", list);
  addStateCommand(faults, chosen, "clear", "Behave again", clear);
}

}  // namespace kova::center
