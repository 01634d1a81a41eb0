// tarvkova: the account service from the command line.
#include <exception>
#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "tarvkova/log_lines.h"
#include "tarvkova/program.h"
#include "tarvkova/signals.h"
#include "tarvkova/streams.h"

namespace kova::cli {
namespace {

int exitCode(bool isWritten) {
  return static_cast<int>(isWritten ? ExitCode::kSuccess : ExitCode::kLocal);
}

// The command line, and what becomes of it.
class Run {
 public:
  // Does what the arguments ask for; returns the exit code.
  int operator()(int argc, char **argv) try {
    if (const auto text = program_.parse(argc, argv)) {
      return exitCode(writeOutput([&](std::ostream &out) { out << *text; }));
    }
    if (program_.isVerbose()) showLogLines();
    return writeReport(program_.chosen()());
  } catch (const Interrupted &interrupted) {
    endBySignal(interrupted.signal);
  } catch (const Failure &failure) {
    return writeFailure(failure);
  } catch (const std::exception &error) {
    return writeFailure(localFailure(error.what()));
  }

 private:
  int writeReport(Report report) const {
    if (!program_.isQuiet()) {
      for (const std::string &note : report.notes) writeMessage("note: " + note);
    }
    if (program_.isJson()) {
      for (const std::string &note : report.notes) report.result["notes"].append(note);
      return exitCode(writeOutcome(true, std::move(report.result)));
    }
    if (program_.isQuiet()) return exitCode(true);
    return exitCode(writeOutput([&](std::ostream &out) {
      report.writeText ? report.writeText(out, report.result) : void(out << report.text);
    }));
  }

  int writeFailure(const Failure &failure) const {
    if (program_.isJson()) {
      Json::Value result = failure.result;
      Json::Value &error = result["error"];
      error["code"] = failure.code;
      error["name"] = failure.name;
      error["message"] = failure.what();
      writeOutcome(false, std::move(result));
    } else if (failure.answer.empty() || program_.isQuiet()) {
      writeMessage(failure.what());
      if (failure.exitCode == ExitCode::kUsage) writeMessage("try \"" + program_.helpCall() + "\"");
    } else {
      writeOutput([&](std::ostream &out) { out << failure.answer; });
    }
    return static_cast<int>(failure.exitCode);
  }

  bool writeOutcome(bool isDone, Json::Value result) const {
    result["ok"] = isDone;
    if (const std::string command = program_.commandName(); !command.empty()) result["command"] = command;
    return writeJson(result);
  }

  Program program_;
};

}  // namespace
}  // namespace kova::cli

int main(int argc, char **argv) {
  kova::cli::prepareStreams();
  return kova::cli::Run()(argc, argv);
}
