#pragma once

#include <kova/platform.h>

#include <string_view>
#include <vector>

#include "platform/text_arena.h"

struct TLIBCSzList {
 public:
  void push(std::string_view text) {
    if (items_.empty()) items_.reserve(kFirstItems);
    items_.emplace_back(arena_.copy(text, text.size() + 1), text.size());
  }
  // Each of them NUL-terminated.
  const std::pmr::vector<std::string_view> &items() const noexcept { return items_; }

 private:
  static constexpr size_t kFirstItems = 16;

  kova::platform::TextArena arena_;
  std::pmr::vector<std::string_view> items_{arena_.resource()};
};
