// The subcommands and options of a command line, for the files that define them. The parser's own header takes seconds
// to compile in each file that includes it; these need not.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace kova {

// An option, a flag or a positional argument.
class Argument {
 public:
  // Says what is wrong with a value; empty where nothing is.
  using Check = std::string (*)(const std::string &value);

  explicit Argument(CLI::Option *option) : option_(option) {}

  // The name of its value in the help.
  Argument typeName(const char *name) const;
  Argument required() const;
  Argument check(Check check) const;
  Argument oneOf(const std::vector<std::string> &values) const;
  Argument needs(Argument other) const;
  Argument excludes(Argument other) const;

 private:
  CLI::Option *option_;
};

// A program or a subcommand. It belongs to the program's parser.
class Command {
 public:
  Command(CLI::App &app) : app_(&app) {}

  // For files that include the parser's header: the command as the parser has it.
  CLI::App *operator->() const { return app_; }
  CLI::App &operator*() const { return *app_; }

  // Adds an option, or a positional argument where the name has no dashes. A value is a std::string, or a std::optional
  // of it where an empty text differs from none, or a std::vector of it: such an option takes one value each time it is
  // given, and such a positional argument all that are left.
  template <class Value>
  Argument addOption(const char *name, Value &value, const char *help) const;
  Argument addFlag(const char *name, bool &value, const char *help) const;
  // The option that the name, such as "--json", was given to.
  Argument find(const char *name) const;
  // The end of the help.
  void setFooter(const char *text) const;
  // Adds a subcommand; `whenNamed` is called when the user names it.
  Command addSubcommand(const char *name, const char *help, std::function<void()> whenNamed) const;

 private:
  CLI::App *app_;
};

// Adds a subcommand to the program, or to another subcommand. When the user names it, parsing sets `chosen` to a call
// of `run`. The caller adds the options to the subcommand that is returned; they live as long as it and `chosen`.
template <class Result, class Options>
std::pair<Command, Options &> addCommand(Command parent, std::function<Result()> &chosen, const char *name,
                                         const char *help, Result (*run)(const Options &)) {
  const auto options = std::make_shared<Options>();
  const auto choose = [&chosen, options, run] { chosen = [options, run] { return run(*options); }; };
  return {parent.addSubcommand(name, help, choose), *options};
}

// The same for a subcommand without options.
template <class Result>
void addCommand(Command parent, std::function<Result()> &chosen, const char *name, const char *help, Result (*run)()) {
  parent.addSubcommand(name, help, [&chosen, run] { chosen = run; });
}

}  // namespace kova
