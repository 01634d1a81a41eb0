// Runs rules, each in a process of its own.
#pragma once

#include <string>
#include <vector>

#include "platform_check/rule.h"

namespace kova::check {

struct Outcome {
  std::vector<std::string> findings;
  std::string notJudged;  // why the rule could not be judged; empty where it was
};

// Thrown where a signal asked this program to end.
struct Interrupted {
  int signal;
};

// Blocks the signals that end this program, except those that it was started to ignore, so that runRule can throw them
// as Interrupted. The library must be loaded then: a signal could not end one that does not come back.
void holdSignals();

// Ends this program by the signal itself.
[[noreturn]] void endBySignal(int signal);

// Checks the rule on the root. What crashes, does not end within `seconds` or prints is a finding, too.
Outcome runRule(const Rule &rule, const Functions &functions, const DeviceRoot &root, int seconds);

}  // namespace kova::check
