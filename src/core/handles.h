// Owners of the platform's handles, and of memory that C allocated.
#pragma once

#include <kova/platform.h>

#include <cstddef>
#include <cstdlib>
#include <memory>

#include "base/release.h"

namespace kova {

using SzList = std::unique_ptr<TLIBCSzList, Release<TLIBCSzListFree>>;
using SzHash = std::unique_ptr<TLIBCSzHash, Release<TLIBCSzHashFree>>;
using Plugin = std::unique_ptr<TLIBPlugin, Release<TLIBPluginExit>>;

// A growing text that frees itself.
class SzText {
 public:
  explicit SzText(std::size_t capacity) : text_{static_cast<char *>(std::malloc(capacity)), 0, capacity} {
    if (text_.text != nullptr) text_.text[0] = '\0';
  }
  ~SzText() { std::free(text_.text); }
  SzText(const SzText &) = delete;
  SzText &operator=(const SzText &) = delete;

  bool allocated() const { return text_.text != nullptr; }
  const char *get() const { return text_.text; }
  bool append(const char *addition) { return TLIBCStrCat(&text_, addition) >= 0; }

 private:
  TLIBCSzText text_;
};

}  // namespace kova
