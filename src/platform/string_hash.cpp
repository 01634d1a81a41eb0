#include "platform/string_hash.h"

#include <climits>
#include <cstddef>

#include "platform/last_error.h"
#include "platform/string_list.h"

const TLIBCSzHash::Entry *TLIBCSzHash::find(std::string_view key) const {
  const auto found = index_.find(key);
  return found != index_.end() ? found->second : nullptr;
}

void TLIBCSzHash::set(std::string_view key, std::string_view value) {
  const auto found = index_.find(key);
  if (found != index_.end()) {
    found->second->value = kova::SecretText(value);
    return;
  }
  Entry &entry = entries_.emplace_back(key, value);
  try {
    index_.emplace(entry.key, &entry);
  } catch (...) {
    entries_.pop_back();
    throw;
  }
}

using namespace kova::platform;

TLIBCSzHash *TLIBCSzHashAlloc(std::size_t) {
  return withLastError<TLIBCSzHash *>(nullptr, [] { return new TLIBCSzHash; });
}

const char *TLIBCSzHashGetValue(const TLIBCSzHash *hash, const char *key) {
  return withLastError<const char *>(nullptr, [&]() -> const char * {
    require(hash != nullptr && key != nullptr);
    const TLIBCSzHash::Entry *entry = hash->find(key);
    if (entry != nullptr) return entry->value.c_str();
    setLastError(TLIBC_ERR_NOT_FOUND);
    return nullptr;
  });
}

int TLIBCSzHashSetValue(TLIBCSzHash *hash, const char *key, const char *value) {
  return withLastError(-1, [&] {
    require(hash != nullptr && key != nullptr && value != nullptr);
    hash->set(key, value);
    return 0;
  });
}

int TLIBCSzHashEnumKey(const TLIBCSzHash *hash, TLIBCSzList *keys) {
  return withLastError(-1, [&] {
    require(hash != nullptr && keys != nullptr && hash->entries().size() <= INT_MAX);
    for (const TLIBCSzHash::Entry &entry : hash->entries()) keys->push(entry.key);
    return static_cast<int>(hash->entries().size());
  });
}

void TLIBCSzHashFree(TLIBCSzHash *hash) {
  delete hash;
}
