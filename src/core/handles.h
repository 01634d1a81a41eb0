// Owners of the platform's handles, of memory that C allocated, and of an account record.
#pragma once

#include <kova/account.h>
#include <kova/platform.h>
#include <string.h>  // explicit_bzero

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "base/release.h"
#include "base/secret.h"

namespace kova {

using SzList = std::unique_ptr<TLIBCSzList, Release<TLIBCSzListFree>>;
using SzHash = std::unique_ptr<TLIBCSzHash, Release<TLIBCSzHashFree>>;
using Plugin = std::unique_ptr<TLIBPlugin, Release<TLIBPluginExit>>;

// An account record is too large for the stack of a small thread, and holds an auth key or a password.
using AccountRecord = std::unique_ptr<AccountInfo, WipingDelete>;

inline AccountRecord makeAccountRecord() {
  return AccountRecord(new AccountInfo{});
}

// A growing text that overwrites and frees itself.
class SzText {
 public:
  explicit SzText(std::size_t capacity) : text_{static_cast<char *>(std::malloc(capacity)), 0, capacity} {
    if (text_.text != nullptr) text_.text[0] = '\0';
  }
  ~SzText() {
    if (allocated()) explicit_bzero(text_.text, text_.capacity);
    std::free(text_.text);
  }
  SzText(const SzText &) = delete;
  SzText &operator=(const SzText &) = delete;

  bool allocated() const { return text_.text != nullptr; }
  const char *get() const { return text_.text; }
  bool append(const char *addition) { return TLIBCStrCat(&text_, addition) >= 0; }

 private:
  TLIBCSzText text_;
};

}  // namespace kova
