#include "tarvkova/program.h"

#include <kova/session.h>

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "common/command_line.h"
#include "common/suggestion.h"
#include "tarvkova/device_files.h"
#include "tarvkova/library_failure.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/spinner.h"

namespace kova::cli {
namespace {

constexpr void (*kCommands[])(Command, ChosenCommand &) = {
    addCheck,    addLogin,     addLogout,   addStatus, addSet,     addPasswd,  addRegister,
    addServices, addPurchases, addAccounts, addUnify,  addMigrate, addAbandon, addDoctor};

// What the weekly schedule runs.
Report reportInfo() {
  if (callWithSpinner(TARVKOVAReportInfo) < 0) throw timeZoneOrLibraryFailure();
  // For the library a device whose account it cannot read is one that is not signed in.
  if (const std::optional<Failure> failure = accountFileFailure()) throw *failure;
  return {};
}

std::vector<const CLI::App *> commandsOf(const CLI::App &app) {
  return app.get_subcommands([](const CLI::App *) { return true; });
}

const CLI::App *findCommand(const CLI::App &app, const std::string &name) {
  const std::vector<const CLI::App *> commands = commandsOf(app);
  const auto found =
      std::ranges::find_if(commands, [&](const CLI::App *command) { return command->get_name() == name; });
  return found != commands.end() ? *found : nullptr;
}

std::string unknownCommandMessage(const CLI::App &app, const std::string &name) {
  std::vector<std::string> names;
  for (const CLI::App *command : commandsOf(app)) names.push_back(command->get_name());
  return "there is no command \"" + name + "\"" + suggestionFor(name, names);
}

std::string unknownOptionMessage(const std::vector<const CLI::App *> &apps, const std::string &option) {
  std::vector<std::string> names;
  for (const CLI::App *app : apps) {
    for (const CLI::Option *known : app->get_options()) {
      for (const std::string &name : known->get_lnames()) names.push_back("--" + name);
    }
  }
  if (std::ranges::count(names, option) > 0) return "the option \"" + option + "\" stands behind its command";
  return "there is no option \"" + option + "\"" + suggestionFor(option, names);
}

constexpr char kPasswordRule[] = "a password is never an argument: it is asked for, or read with --password-file";

// Whether the argument looks like an option that is to take a password. There is none, and it must not be shown.
bool isPasswordOption(std::string_view argument) {
  const std::string_view name = argument.substr(0, argument.find('='));
  return (name.starts_with("--pass") && name != "--password-file" && name != "--passwords") || name.starts_with("-p");
}

void refusePasswords(const std::vector<std::string> &arguments) {
  const auto end = std::ranges::find(arguments, "--");
  if (std::any_of(arguments.begin(), end, isPasswordOption)) {
    throw usageFailure(kPasswordRule);
  }
}

}  // namespace

Program::Program()
    : app_(std::make_unique<CLI::App>("Connects this device to its account at the account service.", "tarvkova")) {
  app_->fallthrough()->require_subcommand(0, 1);
  addVersionOption(*app_);
  app_->add_flag("--json", json_, "Print every outcome as a JSON object");
  CLI::Option *quiet = app_->add_flag("-q,--quiet", quiet_, "Print failures alone; with --json, the JSON object alone");
  app_->add_flag("-v,--verbose", verbose_, "Show what the library logs on standard error; it may hold secrets")
      ->excludes(quiet);
  app_->add_flag("--report_info", reportInfo_, "Send the weekly report; silent when it was sent or is not wanted");
  for (const auto add : kCommands) add(*app_, chosen_);
  addHelp();
  app_->footer(std::string(kPasswordHelp) + "\n\n" + exitCodeList(kExitCodes));
}

Program::~Program() = default;

void Program::addHelp() {
  CLI::App *command = app_->add_subcommand("help", "Show the help of the program, or of a command");
  command->add_option("COMMAND", helpTopic_, "A command");
  command->callback([this] { chosen_ = [this] { return showHelp(); }; });
}

std::string Program::help() const {
  return app_->get_formatter()->make_help(app_.get(), app_->get_name(), CLI::AppFormatMode::Normal);
}

Report Program::showHelp() const {
  Report report;
  const CLI::App *topic = helpTopic_.empty() ? nullptr : findCommand(*app_, helpTopic_);
  if (!helpTopic_.empty() && topic == nullptr) throw usageFailure(unknownCommandMessage(*app_, helpTopic_));
  report.text = topic == nullptr ? help()
                                 : app_->get_formatter()->make_help(topic, app_->get_name() + " " + helpTopic_,
                                                                    CLI::AppFormatMode::Normal);
  report.result["help"] = report.text;
  return report;
}

std::optional<std::string> Program::parse(int argc, char **argv) {
  const std::vector<std::string> arguments(argv + std::min(argc, 1), argv + argc);
  // Mistakes that end the parsing early are told as JSON, too.
  json_ = std::ranges::count(arguments, "--json") > 0;
  refusePasswords(arguments);
  try {
    if (auto text = parseArguments(*app_, argc, argv)) return text;
  } catch (const CLI::ExtrasError &) {
    throw usageFailure(unexpectedMessage());
  } catch (const CLI::ParseError &error) {
    throw usageFailure(error.what());
  }
  if (reportInfo_ && chosen_) throw usageFailure("--report_info goes without a command");
  if (reportInfo_) chosen_ = reportInfo;
  if (!chosen_) {
    Failure failure = usageFailure("name a command");
    failure.answer = help();
    throw failure;
  }
  return std::nullopt;
}

std::string Program::helpCall() const {
  const auto commands = app_->get_subcommands();
  const std::string command = commands.empty() ? "" : commands.front()->get_name();
  return "tarvkova " + (command.empty() || command == "help" ? "" : command + " ") + "--help";
}

std::string Program::commandName() const {
  const auto commands = app_->get_subcommands();
  if (!commands.empty()) return commands.front()->get_name();
  return reportInfo_ ? "report_info" : "";
}

std::string Program::unexpectedMessage() const {
  const std::vector<std::string> unexpected = app_->remaining(true);
  const std::string &first = unexpected.front();
  const auto commands = app_->get_subcommands();
  if (first.starts_with('-') && first != "-" && first != "--") {
    std::vector<const CLI::App *> apps(commands.begin(), commands.end());
    apps.push_back(app_.get());
    return unknownOptionMessage(apps, first.substr(0, first.find('=')));
  }
  if (commands.empty()) return unknownCommandMessage(*app_, first);
  if (commandName() == "passwd") return kPasswordRule;  // what they are need not be shown
  std::string message = "unexpected:";
  for (const std::string &word : unexpected) message += " \"" + word + "\"";
  if (commands.front()->get_option_no_throw("--password-file") != nullptr) message += std::string("; ") + kPasswordRule;
  return message;
}

}  // namespace kova::cli
