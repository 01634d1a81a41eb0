#pragma once

#include <kova/platform.h>

#include <string_view>
#include <unordered_map>
#include <vector>

#include "platform/text_arena.h"

struct TLIBCSzHash {
 public:
  // The texts lie in the arena and are NUL-terminated.
  struct Entry {
    std::string_view key;
    std::string_view value;
    size_t room;  // for the value and its NUL
  };

  const Entry *find(std::string_view key) const noexcept;
  // Both texts may be texts of this hash. An exception leaves the hash as it was.
  void set(std::string_view key, std::string_view value);
  const std::pmr::vector<Entry> &entries() const noexcept { return entries_; }

 private:
  // The place of the key among the entries; their number where there is none.
  size_t search(std::string_view key) const noexcept;
  void setValue(Entry &entry, std::string_view value);
  void index();

  kova::platform::TextArena arena_;
  std::pmr::vector<Entry> entries_{arena_.resource()};
  // The entry behind the one found last: mostly it is asked for next.
  mutable size_t next_ = 0;
  // The entries' positions. Used once they are too many for a linear search, and only while it holds them all.
  std::pmr::unordered_map<std::string_view, size_t> index_{arena_.resource()};
};
