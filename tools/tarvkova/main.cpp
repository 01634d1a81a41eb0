// tarvkova: the account service from the command line.
#include <kova/session.h>

#include <algorithm>
#include <cstring>
#include <exception>
#include <optional>
#include <ostream>
#include <string>

#include "tarvkova/program.h"
#include "tarvkova/signals.h"
#include "tarvkova/spinner.h"
#include "tarvkova/streams.h"

namespace kova::cli {
namespace {

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
  // Does what the arguments ask for; returns the exit code.
  int run(int argc, char **argv) try {
    // Mistakes that end the parsing early are told as JSON, too.
    program_.json =
        std::any_of(argv, argv + argc, [](const char *argument) { return std::strcmp(argument, "--json") == 0; });
    if (const auto text = parse(argc, argv)) {
      return exitCode(writeOutput([&](std::ostream &out) { out << *text; }));
    }
    if (program_.reportInfo == static_cast<bool>(program_.chosen)) {
      throw usageFailure("name one command, or --report_info alone");
    }
    return writeReport(program_.reportInfo ? reportInfo() : program_.chosen(), program_.json);
  } catch (const Interrupted &interrupted) {
    endBySignal(interrupted.signal);
  } catch (const Failure &failure) {
    const int code = writeFailure(failure, program_.json);
    if (failure.exitCode == ExitCode::kUsage && !program_.json) {
      writeMessage("try \"tarvkova " + commandName() + "--help\"");
    }
    return code;
  } catch (const std::exception &error) {
    return writeFailure(localFailure(error.what()), program_.json);
  }

 private:
  std::optional<std::string> parse(int argc, char **argv) try {
    return parseArguments(program_.app, argc, argv);
  } catch (const CLI::ParseError &error) {
    throw usageFailure(error.what());
  }

  std::string commandName() const {
    const auto commands = program_.app.get_subcommands();
    return commands.empty() ? "" : commands.front()->get_name() + " ";
  }

  Program program_;
};

}  // namespace
}  // namespace kova::cli

int main(int argc, char **argv) {
  kova::cli::prepareStreams();
  return kova::cli::CommandLine().run(argc, argv);
}
