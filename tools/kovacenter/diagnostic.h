// What is told on the standard error.
#pragma once

#include <iostream>
#include <string_view>

#include "common/terminal_text.h"

namespace kova::center {

inline void writeDiagnostic(std::string_view message) {
  std::cerr << "kovacenter: " << printable(message) << '\n';
}

}  // namespace kova::center
