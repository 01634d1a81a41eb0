// The list of texts behind TLIBCSzList.
#pragma once

#include <kova/platform.h>

#include <deque>
#include <string>
#include <string_view>

// A struct, as the C header declares it.
struct TLIBCSzList {
 public:
  void push(std::string_view text) { items_.emplace_back(text); }
  // A deque: its items keep their addresses when others are added.
  const std::deque<std::string> &items() const noexcept { return items_; }

 private:
  std::deque<std::string> items_;
};
