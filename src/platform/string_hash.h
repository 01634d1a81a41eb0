// The map of text to text behind TLIBCSzHash.
#pragma once

#include <kova/platform.h>

#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>

#include "base/secret.h"

// A struct, as the C header declares it.
struct TLIBCSzHash {
 public:
  struct Entry {
    Entry(std::string_view keyText, std::string_view valueText) : key(keyText), value(valueText) {}

    std::string key;
    kova::SecretText value;
  };
  // A deque: its entries keep their addresses when others are added, and the index refers to them.
  using Entries = std::deque<Entry, kova::WipingAllocator<Entry>>;

  // Null when there is no such key.
  const Entry *find(std::string_view key) const;
  // Both texts may be texts of this hash. An exception leaves the hash as it was.
  void set(std::string_view key, std::string_view value);
  // In the order in which their keys were first set.
  const Entries &entries() const noexcept { return entries_; }

 private:
  Entries entries_;
  std::unordered_map<std::string_view, Entry *> index_;
};
