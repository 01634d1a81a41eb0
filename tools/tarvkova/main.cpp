// tarvkova: the account service from the command line.
#include <kova/session.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <optional>
#include <ostream>
#include <string>

#include "tarvkova/commands.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/signals.h"
#include "tarvkova/spinner.h"
#include "tarvkova/streams.h"

namespace kova::cli {
namespace {

constexpr char kExitCodes[] =
    "Exit codes:\n"
    "  0  success                    4  the service refused the credentials\n"
    "  1  failure on this device     5  the service cannot be reached, or answers with an HTTP error\n"
    "  2  wrong usage                6  the service refused for another reason, or its reply is unusable\n"
    "  3  not signed in";

constexpr void (*kCommands[])(CLI::App &, ChosenCommand &) = {
    addCheck,    addLogin,     addLogout,   addStatus, addSet,     addPasswd, addRegister,
    addServices, addPurchases, addAccounts, addUnify,  addMigrate, addAbandon};

// What the weekly schedule runs.
Report reportInfo() {
  if (callWithSpinner(TARVKOVAReportInfo) == 0) return {};
  throw timeZoneOrLibraryFailure();
}

int exitCode(bool isWritten) {
  return static_cast<int>(isWritten ? ExitCode::kSuccess : ExitCode::kLocal);
}

// Writes the outcome of the command; returns the exit code.
int writeReport(Report report, bool asJson) {
  for (const std::string &note : report.notes) writeMessage("note: " + note);
  if (!asJson && report.writeText) {
    return exitCode(writeOutput([&](std::ostream &out) { report.writeText(out, report.result); }));
  }
  if (!asJson) return exitCode(writeOutput([&](std::ostream &out) { out << report.text; }));
  report.result["ok"] = true;
  for (const std::string &note : report.notes) report.result["notes"].append(note);
  return exitCode(writeJson(report.result));
}

int writeFailure(const Failure &failure, bool asJson) {
  if (asJson) {
    Json::Value result = failure.result;
    result["ok"] = false;
    Json::Value &error = result["error"];
    error["code"] = failure.code;
    error["name"] = failure.name;
    error["message"] = failure.what();
    writeJson(result);
  } else {
    writeMessage(failure.what());
  }
  return static_cast<int>(failure.exitCode);
}

class CommandLine {
 public:
  CommandLine() {
    program_.name("tarvkova")->fallthrough()->require_subcommand(0, 1);
    addVersionOption(program_);
    program_.add_flag("--json", json_, "Print every outcome as a JSON object");
    program_.add_flag("--report_info", reportInfo_, "Send the weekly report; silent when it was sent or is not wanted");
    for (const auto add : kCommands) add(program_, chosen_);
    program_.footer(std::string(kPasswordHelp) + "\n\n" + kExitCodes);
  }

  // Does what the arguments ask for; returns the exit code.
  int run(int argc, char **argv) try {
    // Mistakes that end the parsing early are told as JSON, too.
    json_ = std::any_of(argv, argv + argc, [](const char *argument) { return std::strcmp(argument, "--json") == 0; });
    if (const auto text = parse(argc, argv)) {
      return exitCode(writeOutput([&](std::ostream &out) { out << *text; }));
    }
    if (reportInfo_ == static_cast<bool>(chosen_)) throw usageFailure("name one command, or --report_info alone");
    return writeReport(reportInfo_ ? reportInfo() : chosen_(), json_);
  } catch (const Interrupted &interrupted) {
    endBySignal(interrupted.signal);
  } catch (const Failure &failure) {
    const int code = writeFailure(failure, json_);
    if (failure.exitCode == ExitCode::kUsage && !json_) writeMessage("try \"tarvkova " + commandName() + "--help\"");
    return code;
  } catch (const std::exception &error) {
    return writeFailure(localFailure(error.what()), json_);
  }

 private:
  std::optional<std::string> parse(int argc, char **argv) try {
    return parseArguments(program_, argc, argv);
  } catch (const CLI::ParseError &error) {
    throw usageFailure(error.what());
  }

  std::string commandName() const {
    const auto commands = program_.get_subcommands();
    return commands.empty() ? "" : commands.front()->get_name() + " ";
  }

  CLI::App program_{"Connects this device to its account at the account service."};
  ChosenCommand chosen_;
  bool json_ = false;
  bool reportInfo_ = false;
};

}  // namespace
}  // namespace kova::cli

int main(int argc, char **argv) {
  kova::cli::prepareStreams();
  return kova::cli::CommandLine().run(argc, argv);
}
