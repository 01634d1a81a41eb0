// The record of every request, in order, as JSON lines.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string_view>

#include "base/descriptor.h"
#include "kovacenter/message.h"

namespace kova::center {

class Journal {
 public:
  // Continues the numbering of an existing file.
  explicit Journal(const std::filesystem::path &file);

  // `fault` names the misbehaviour that replaced or spoiled the reply; empty: none.
  void add(const Request &request, const Reply &reply, std::string_view fault);

 private:
  Descriptor file_;
  int64_t count_ = 0;
};

// Prints the journal: its JSON lines, or a line for people in place of each. With `follow`, also prints what is added,
// for as long as somebody reads it.
void printJournal(const std::filesystem::path &file, bool asJson, bool follow);

}  // namespace kova::center
