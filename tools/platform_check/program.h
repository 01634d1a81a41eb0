// The command line of kova-platform-check.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "common/arguments.h"
#include "common/exit_codes.h"
#include "platform_check/rule.h"
#include "platform_check/runner.h"

namespace kova::check {

inline constexpr int kClean = 0;
inline constexpr int kFindings = 1;
inline constexpr int kWrongUsage = 2;
inline constexpr int kNotRun = 3;

inline constexpr ExitCodeMeaning<int> kExitCodes[] = {
    {kClean, "nothing was found"},
    {kFindings, "something was found"},
    {kWrongUsage, "wrong usage"},
    {kNotRun, "the check could not be run: the library cannot be loaded, or the root cannot be used"},
};

class Program {
 public:
  Program();
  Program(const Program &) = delete;
  Program &operator=(const Program &) = delete;
  ~Program();

  const CLI::App &app() const { return *app_; }
  // Does what the arguments ask for; returns the exit code.
  int run(int argc, char **argv);

 private:
  int answer(int argc, char **argv);
  std::vector<Rule> chosenRules() const;
  int list(const std::vector<Rule> &rules) const;
  int checkPlatform(const std::vector<Rule> &rules);
  Outcome outcomeOf(const Rule &rule, const Functions &functions, const Outcome &onRoot) const;
  int fail(int exitCode, const std::string &message) const;

  std::unique_ptr<CLI::App> app_;
  std::string library_;
  std::string root_;
  std::vector<std::string> only_;
  int seconds_ = 120;
  bool intrusive_ = false;
  bool list_ = false;
  bool json_ = false;
};

}  // namespace kova::check
