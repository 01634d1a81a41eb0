#include "platform/file.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <utility>

#include "base/descriptor.h"
#include "platform/last_error.h"

namespace kova::platform {
namespace {

constexpr int kMostLinks = 40;

int openFailure() {
  return errno == ENOENT || errno == ENOTDIR ? TLIBC_ERR_NOT_FOUND : TLIBC_ERR_OPEN_FAILED;
}

SecretText textOf(const Descriptor &file) {
  SecretText text;
  if (readAll(file, text)) return text;
  throw Failure{errno == EFBIG ? TLIBC_ERR_TOO_LONG : TLIBC_ERR_READ_FAILED};
}

struct stat statusOf(const Descriptor &file) {
  struct stat status;
  if (fstat(file.get(), &status) != 0) throw Failure{TLIBC_ERR_READ_FAILED};
  return status;
}

mode_t modeOf(const struct stat &existing, ExistingMode existingMode, mode_t newMode) {
  if (existingMode == ExistingMode::kReplaced) return newMode;
  return existing.st_mode & (existingMode == ExistingMode::kPrivate ? S_IRWXU : ALLPERMS);
}

std::string followLinks(std::string path) {
  for (int links = 0; links < kMostLinks; ++links) {
    std::array<char, PATH_MAX> target;
    const ssize_t length = readlink(path.c_str(), target.data(), target.size());
    if (length < 0) return path;
    const std::size_t directory = target[0] == '/' ? 0 : path.rfind('/') + 1;
    path.replace(directory, std::string::npos, target.data(), static_cast<std::size_t>(length));
  }
  throw Failure{TLIBC_ERR_OPEN_FAILED};
}

// The lock file is never removed: else one writer could lock the removed file while another locks a new one.
Descriptor openLockFile(const Descriptor &directory, const std::string &name) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
  Descriptor file(retried([&] { return openat(directory.get(), name.c_str(), kFlags, 0600); }));
  if (!file) throw Failure{TLIBC_ERR_LOCK_FAILED};
  return file;
}

// A new file under a temporary name. It is removed again unless it takes the place of another.
class TemporaryFile {
 public:
  TemporaryFile(const Descriptor &directory, std::string name) : directory_(directory), name_(std::move(name)) {
    unlinkat(directory_.get(), name_.c_str(), 0);  // what a killed writer left behind
    constexpr int kFlags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOFOLLOW;
    file_ = Descriptor(retried([&] { return openat(directory_.get(), name_.c_str(), kFlags, 0600); }));
    if (!file_) throw Failure{TLIBC_ERR_WRITE_FAILED};
  }
  TemporaryFile(const TemporaryFile &) = delete;
  TemporaryFile &operator=(const TemporaryFile &) = delete;
  ~TemporaryFile() {
    if (file_) unlinkat(directory_.get(), name_.c_str(), 0);
  }

  // To be called before setMode: a change of owner may clear bits of the mode.
  void setOwner(uid_t user, gid_t group) {
    const struct stat now = statusOf(file_);
    if ((now.st_uid != user || now.st_gid != group) && fchown(file_.get(), user, group) != 0) {
      throw Failure{TLIBC_ERR_WRITE_FAILED};
    }
  }
  void setMode(mode_t mode) {
    if ((statusOf(file_).st_mode & ALLPERMS) != mode && fchmod(file_.get(), mode) != 0) {
      throw Failure{TLIBC_ERR_WRITE_FAILED};
    }
  }
  void writeText(std::string_view text) {
    if (!writeAll(file_.get(), text) || retried([&] { return fsync(file_.get()); }) != 0) {
      throw Failure{TLIBC_ERR_WRITE_FAILED};
    }
  }
  void takePlaceOf(const std::string &name) {
    if (renameat(directory_.get(), name_.c_str(), directory_.get(), name.c_str()) != 0) {
      throw Failure{TLIBC_ERR_WRITE_FAILED};
    }
    file_ = Descriptor();
  }

 private:
  const Descriptor &directory_;
  std::string name_;
  Descriptor file_;
};

void makeDirectory(const std::string &path, mode_t mode) {
  int result = mkdir(path.c_str(), mode);
  const std::size_t slash = path.rfind('/');
  if (result != 0 && errno == ENOENT && slash != std::string::npos && slash != 0) {
    makeDirectory(path.substr(0, slash), 0755);
    result = mkdir(path.c_str(), mode);
  }
  if (result != 0 && errno == EEXIST) return;
  if (result != 0 || !syncDirectoryOf(path)) throw Failure{TLIBC_ERR_WRITE_FAILED};
}

}  // namespace

FileLock::FileLock(const Descriptor &file) : file_(file) {
  constexpr auto kLongestWait = std::chrono::seconds(30);
  constexpr useconds_t kPause = 1000;
  const auto end = std::chrono::steady_clock::now() + kLongestWait;
  // There is no lock that waits for a limited time.
  while (flock(file_.get(), LOCK_EX | LOCK_NB) != 0) {
    const bool mayWait = errno == EINTR || (errno == EWOULDBLOCK && std::chrono::steady_clock::now() < end);
    if (!mayWait) throw Failure{TLIBC_ERR_LOCK_FAILED};
    usleep(kPause);
  }
}

FileLock::~FileLock() {
  flock(file_.get(), LOCK_UN);
}

SecretText readFile(const std::string &path) {
  const Descriptor file(retried([&] { return open(path.c_str(), kReadFlags); }));
  if (!file) throw Failure{openFailure()};
  return textOf(file);
}

void updateFile(const std::string &path, mode_t newMode, const FileEdit &edit, ExistingMode existingMode) {
  const std::string real = followLinks(path);
  const std::size_t slash = real.rfind('/');
  const std::string name = real.substr(slash + 1);
  require(slash != std::string::npos && !name.empty());
  const std::string parent = real.substr(0, slash + 1);
  const Descriptor directory = openDirectory(parent);
  if (!directory) throw Failure{openFailure()};
  const Descriptor lockFile = openLockFile(directory, "." + name + ".lock");
  const FileLock lock(lockFile);

  const Descriptor oldFile(retried([&] { return openat(directory.get(), name.c_str(), kReadFlags | O_NOFOLLOW); }));
  if (!oldFile && errno != ENOENT) throw Failure{TLIBC_ERR_OPEN_FAILED};
  std::optional<struct stat> oldStatus;
  SecretText oldText;
  if (oldFile) {
    oldStatus = statusOf(oldFile);
    if (!S_ISREG(oldStatus->st_mode)) throw Failure{TLIBC_ERR_OPEN_FAILED};
    oldText = textOf(oldFile);
  }
  const std::optional<SecretText> newText = edit(oldText);
  if (!newText) return;

  TemporaryFile newFile(directory, "." + name + ".tmp");
  if (oldStatus) newFile.setOwner(oldStatus->st_uid, oldStatus->st_gid);
  newFile.setMode(oldStatus ? modeOf(*oldStatus, existingMode, newMode) : newMode);
  newFile.writeText(*newText);
  newFile.takePlaceOf(name);
  if (!syncDirectory(directory)) throw Failure{TLIBC_ERR_WRITE_FAILED};
}

void makeParentDirectory(const std::string &path, mode_t mode) {
  makeDirectory(path.substr(0, path.rfind('/')), mode);
}

}  // namespace kova::platform
