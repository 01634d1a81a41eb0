// What a check of "tarvkova doctor" has found.
#pragma once

#include <string>

namespace kova::cli {

enum class CheckState {
  kOk,
  kNote,  // worth knowing, not wrong
  kFailed,
  kSkipped  // could not be made
};

struct Finding {
  CheckState state = CheckState::kOk;
  // Their initializers let a designated initializer leave them out.
  // NOLINTBEGIN(readability-redundant-member-init)
  std::string detail{};  // what was seen; where the check was skipped, why
  std::string advice{};  // what to do about it; empty where nothing is wrong
  // NOLINTEND(readability-redundant-member-init)
};

}  // namespace kova::cli
