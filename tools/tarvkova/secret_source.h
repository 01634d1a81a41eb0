// Where a command's passwords come from: the file named, else the controlling terminal, else standard input.
#pragma once

#include <optional>
#include <string>

#include "base/descriptor.h"
#include "common/arguments.h"
#include "tarvkova/secret.h"
#include "tarvkova/terminal.h"

namespace kova::cli {

// For the help of a command that asks for passwords.
inline constexpr char kPasswordHelp[] =
    "Passwords are asked for on the terminal. Without a terminal, and with \"-\" for a file, they are read\n"
    "from standard input, one on each line.";

// Adds the option "--password-file" to a command.
Argument addPasswordFile(Command command, std::string &file);

class SecretSource {
 public:
  // `file` is "-" for standard input, and empty when no file was named. Warns of a file that others can read.
  explicit SecretSource(const std::string &file);

  // The answer to "`what`: " on the terminal, else the next line. Throws Failure at the end of input.
  Secret ask(const std::string &what);
  // The same for a password that is to be set: it is not empty, and a terminal's user is asked for it twice.
  Secret askNew(const std::string &what);
  // Everything that is left in the file or on standard input.
  Secret readAll();

 private:
  int input() const;

  std::optional<Terminal> terminal_;
  Descriptor file_;
};

}  // namespace kova::cli
