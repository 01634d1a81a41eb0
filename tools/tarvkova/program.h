// The command line of tarvkova: its options and subcommands, of which the help, the manual page and the shells'
// completions are made.
#pragma once

#include "tarvkova/commands.h"

namespace kova::cli {

struct Program {
  Program();
  Program(const Program &) = delete;
  Program &operator=(const Program &) = delete;

  CLI::App app{"Connects this device to its account at the account service."};
  // What parsing sets.
  ChosenCommand chosen;
  bool json = false;
  bool reportInfo = false;
};

}  // namespace kova::cli
