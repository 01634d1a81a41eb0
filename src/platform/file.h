// Reading and replacing whole files of the device.
#pragma once

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/descriptor.h"
#include "base/secret.h"

namespace kova::platform {

// The text of the file at `path` on this machine: less than 16 MiB.
SecretText readFile(const std::string &path);

// The only lock on an open file. Others are waited for, up to 30 seconds. It is given back by unlocking, since a closed
// file stays locked while a child that another thread has forked has it open.
class FileLock {
 public:
  explicit FileLock(const Descriptor &file);
  FileLock(const FileLock &) = delete;
  FileLock &operator=(const FileLock &) = delete;
  ~FileLock();

 private:
  const Descriptor &file_;
};

// Makes the new text of a file from the old one, which is empty where there is no file yet. Where it returns nothing,
// the file stays as it is.
using FileEdit = std::function<std::optional<SecretText>(std::string_view)>;

// What becomes of the mode of a file that exists: kPrivate takes away what it allows its group and others.
enum class ExistingMode { kKept, kPrivate, kReplaced };

// Replaces the text of a file, atomically and durably, and under a lock: where several do so at once, each edits what
// the one before it wrote. A symbolic link stays, and its target is replaced. A new file gets `newMode`; an existing
// one keeps its owner and, unless `existingMode` says otherwise, its mode.
void updateFile(const std::string &path, mode_t newMode, const FileEdit &edit,
                ExistingMode existingMode = ExistingMode::kKept);

// Makes the directory of the file at `path`, and those above it (mode 0755), where they are missing: durably, too.
void makeParentDirectory(const std::string &path, mode_t mode);

}  // namespace kova::platform
