#pragma once

#include <kova/platform.h>

#include <string_view>
#include <vector>

#include "text_arena.h"

struct TLIBCSzList {
 public:
  void push(std::string_view text) { items_.emplace_back(arena_.copy(text, text.size() + 1), text.size()); }
  // Each of them NUL-terminated.
  const std::pmr::vector<std::string_view> &items() const noexcept { return items_; }

 private:
  kova::platform::TextArena arena_;
  std::pmr::vector<std::string_view> items_{arena_.resource()};
};
