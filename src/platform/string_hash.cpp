#include "platform/string_hash.h"

#include <algorithm>
#include <climits>
#include <cstring>

#include "platform/last_error.h"
#include "platform/string_list.h"

namespace {

constexpr size_t kLinearSearchLimit = 24;
constexpr size_t kFirstEntries = 16;

}  // namespace

const TLIBCSzHash::Entry *TLIBCSzHash::find(std::string_view key) const noexcept {
  const size_t place = next_ < entries_.size() && entries_[next_].key == key ? next_ : search(key);
  if (place == entries_.size()) return nullptr;
  next_ = place + 1;
  return &entries_[place];
}

size_t TLIBCSzHash::search(std::string_view key) const noexcept {
  if (entries_.size() > kLinearSearchLimit && index_.size() == entries_.size()) {
    const auto found = index_.find(key);
    return found != index_.end() ? found->second : entries_.size();
  }
  const auto found =
      std::find_if(entries_.begin(), entries_.end(), [&](const Entry &entry) { return entry.key == key; });
  return static_cast<size_t>(found - entries_.begin());
}

void TLIBCSzHash::set(std::string_view key, std::string_view value) {
  if (const Entry *entry = find(key)) {
    setValue(entries_[entry - entries_.data()], value);
    return;
  }
  if (entries_.empty()) entries_.reserve(kFirstEntries);
  const std::string_view ownKey(arena_.copy(key, key.size() + 1), key.size());
  const size_t room = value.size() + 1;
  entries_.push_back({ownKey, {arena_.copy(value, room), value.size()}, room});
  try {
    index();
  } catch (...) {
    entries_.pop_back();
    throw;
  }
}

// Where the value needs more room, it gets twice the room: what an often set value leaves behind stays bounded.
void TLIBCSzHash::setValue(Entry &entry, std::string_view value) {
  if (value.size() >= entry.room) {
    const size_t room = std::max(value.size() + 1, 2 * entry.room);
    entry.value = {arena_.copy(value, room), value.size()};
    entry.room = room;
    return;
  }
  char *ownValue = const_cast<char *>(entry.value.data());
  memmove(ownValue, value.data(), value.size());
  ownValue[value.size()] = '\0';
  entry.value = {ownValue, value.size()};
}

void TLIBCSzHash::index() {
  if (entries_.size() <= kLinearSearchLimit) return;
  for (size_t next = index_.size(); next < entries_.size(); ++next) index_.emplace(entries_[next].key, next);
}

using namespace kova::platform;

TLIBCSzHash *TLIBCSzHashAlloc(size_t) {
  // Without parentheses: "new TLIBCSzHash()" would clear the arena's first block.
  return guarded<TLIBCSzHash *>(nullptr, [] { return new TLIBCSzHash; });
}

const char *TLIBCSzHashGetValue(const TLIBCSzHash *hash, const char *key) {
  return guarded<const char *>(nullptr, [&]() -> const char * {
    require(hash != nullptr && key != nullptr);
    const TLIBCSzHash::Entry *entry = hash->find(key);
    if (entry != nullptr) return entry->value.data();
    setLastError(TLIBC_ERR_NOT_FOUND);
    return nullptr;
  });
}

int TLIBCSzHashSetValue(TLIBCSzHash *hash, const char *key, const char *value) {
  return guarded(-1, [&] {
    require(hash != nullptr && key != nullptr && value != nullptr);
    hash->set(key, value);
    return 0;
  });
}

int TLIBCSzHashEnumKey(const TLIBCSzHash *hash, TLIBCSzList *keys) {
  return guarded(-1, [&] {
    require(hash != nullptr && keys != nullptr && hash->entries().size() <= INT_MAX);
    for (const TLIBCSzHash::Entry &entry : hash->entries()) keys->push(entry.key);
    return static_cast<int>(hash->entries().size());
  });
}

void TLIBCSzHashFree(TLIBCSzHash *hash) {
  delete hash;
}
