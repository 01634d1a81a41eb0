// tarvkova: the account service from the command line.
#include <kova/session.h>

#include <algorithm>
#include <cstring>
#include <string>

#include "tarvkova/commands.h"
#include "tarvkova/secret_source.h"
#include "tarvkova/signals.h"
#include "tarvkova/streams.h"
#include "tarvkova/text.h"
#include "tarvkova/waiting.h"

namespace kova::cli {

namespace {

// What the weekly schedule runs.
Report reportInfo() {
  if (whileWaiting(TARVKOVAReportInfo) == 0) return {};
  throw zonedFailure();
}

constexpr char kExitCodes[] =
    "Exit codes:\n"
    "  0  success                    4  the service refused the credentials\n"
    "  1  failure on this device     5  the service cannot be reached, or answers with an HTTP error\n"
    "  2  wrong usage                6  the service refused for another reason, or its reply is unusable\n"
    "  3  not signed in";

constexpr void (*kCommands[])(CLI::App &, Action &) = {addCheck,  addLogin,    addLogout,   addStatus,    addSet,
                                                       addPasswd, addRegister, addServices, addPurchases, addAccounts,
                                                       addUnify,  addMigrate,  addAbandon};

int statusOf(Exit exit) {
  return static_cast<int>(exit);
}

int tell(const Report &report, bool json) {
  for (const std::string &note : report.notes) complain("note: " + note);
  std::string text = report.text;
  if (json) {
    Json::Value result = report.result;
    result["ok"] = true;
    for (const std::string &note : report.notes) result["notes"].append(note);
    text = jsonLine(result) + "\n";
  }
  return statusOf(writeOutput(text) ? Exit::kSuccess : Exit::kLocal);
}

int tell(const Failure &failure, bool json) {
  if (json) {
    Json::Value result = failure.result;
    result["ok"] = false;
    Json::Value &error = result["error"];
    error["code"] = failure.code;
    error["name"] = failure.name;
    error["message"] = failure.what();
    writeOutput(jsonLine(result) + "\n");
  } else {
    complain(failure.what());
  }
  return statusOf(failure.exit);
}

// What the arguments ask for; run() does it and returns the exit code.
class CommandLine {
 public:
  CommandLine() {
    program_.name("tarvkova")->fallthrough()->require_subcommand(0, 1);
    program_.set_version_flag("--version", "tarvkova " KOVA_VERSION, "Print the version and exit");
    program_.add_flag("--json", json_, "Print every outcome as a JSON object");
    program_.add_flag("--report_info", reportInfo_, "Send the weekly report; silent when it was sent or is not wanted");
    for (const auto add : kCommands) add(program_, action_);
    program_.footer(std::string(kPasswordHelp) + "\n\n" + kExitCodes);
  }

  int run(int argc, char **argv) try {
    // Wanted also for the mistakes that end the parsing early.
    json_ = std::any_of(argv, argv + argc, [](const char *argument) { return std::strcmp(argument, "--json") == 0; });
    try {
      program_.parse(argc, argv);
    } catch (const CLI::CallForHelp &) {
      return statusOf(writeOutput(program_.help()) ? Exit::kSuccess : Exit::kLocal);
    } catch (const CLI::CallForVersion &version) {
      return statusOf(writeOutput(std::string(version.what()) + "\n") ? Exit::kSuccess : Exit::kLocal);
    } catch (const CLI::ParseError &error) {
      throw usageFailure(error.what());
    }
    if (reportInfo_ == static_cast<bool>(action_)) throw usageFailure("name one command, or --report_info alone");
    return tell(reportInfo_ ? reportInfo() : action_(), json_);
  } catch (const Interrupted &interrupted) {
    endBy(interrupted.signal);
  } catch (const Failure &failure) {
    const int status = tell(failure, json_);
    if (failure.exit == Exit::kUsage && !json_) complain("try \"tarvkova " + commandName() + "--help\"");
    return status;
  } catch (const std::exception &error) {
    return tell(localFailure(error.what()), json_);
  }

 private:
  std::string commandName() const {
    const auto chosen = program_.get_subcommands();
    return chosen.empty() ? "" : chosen.front()->get_name() + " ";
  }

  CLI::App program_{"Connects this device to its account at the account service."};
  Action action_;
  bool json_ = false;
  bool reportInfo_ = false;
};

}  // namespace
}  // namespace kova::cli

int main(int argc, char **argv) {
  kova::cli::prepareStreams();
  return kova::cli::CommandLine().run(argc, argv);
}
