// The command line of tarvkova: its options and subcommands, of which the help, the manual page and the shells'
// completions are made.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tarvkova/commands.h"

namespace kova::cli {

class Program {
 public:
  Program();
  Program(const Program &) = delete;
  Program &operator=(const Program &) = delete;
  ~Program();

  // Takes the arguments. Returns the text that they ask for in place of a command, if they do; wrong usage is thrown as
  // Failure.
  std::optional<std::string> parse(int argc, char **argv);

  // The name of the subcommand that the user gave; empty without one.
  std::string commandName() const;
  std::string help() const;
  // The call that shows the help of the subcommand, else that of the program.
  std::string helpCall() const;

  const CLI::App &app() const { return *app_; }
  const ChosenCommand &chosen() const { return chosen_; }
  bool isJson() const { return json_; }
  bool isQuiet() const { return quiet_; }
  bool isVerbose() const { return verbose_; }

 private:
  void addHelp();
  Report showHelp() const;
  std::string unexpectedMessage() const;

  std::unique_ptr<CLI::App> app_;
  ChosenCommand chosen_;
  std::string helpTopic_;
  bool json_ = false;
  bool quiet_ = false;
  bool verbose_ = false;
  bool reportInfo_ = false;
};

}  // namespace kova::cli
