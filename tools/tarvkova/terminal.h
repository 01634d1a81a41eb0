// Questions to the user on the controlling terminal.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "base/descriptor.h"
#include "tarvkova/secret.h"

namespace kova::cli {

class Terminal {
 public:
  // Nothing when the process has no controlling terminal.
  static std::optional<Terminal> open();

  // Reads the answer to the question, without echo unless `echo`. False at the end of input. A signal that ends the
  // program is thrown as Interrupted once the terminal is as it was; after one that stopped the program the question is
  // asked again.
  bool ask(const std::string &question, Secret &answer, bool echo = false);
  // Whether the answer to the question is yes.
  bool confirm(const std::string &question);

 private:
  explicit Terminal(Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
  bool askOnce(const std::string &question, Secret &answer, bool echo);
  void write(const std::string &text);

  Descriptor descriptor_;
};

}  // namespace kova::cli
