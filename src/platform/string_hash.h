// The map of text to text behind TLIBCSzHash.
#pragma once

#include <kova/platform.h>

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

// A struct, as the C header declares it.
struct TLIBCSzHash {
 public:
  struct Entry {
    std::string key;
    std::string value;
  };

  // Null when there is no such key.
  const Entry *find(std::string_view key) const;
  // Both texts may be texts of this hash. An exception leaves the hash as it was.
  void set(std::string_view key, std::string_view value);
  // In the order in which their keys were first set.
  const std::deque<Entry> &entries() const noexcept { return entries_; }

 private:
  // A deque: its entries keep their addresses when others are added, and the index refers to them.
  std::deque<Entry> entries_;
  std::unordered_map<std::string_view, Entry *> index_;
};
