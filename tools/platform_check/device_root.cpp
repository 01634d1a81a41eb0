#include "platform_check/device_root.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <system_error>

namespace kova::check {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kNoFile = 07777;

std::string scratchDirectory() {
  std::string path = fs::temp_directory_path() / "kova-platform-check.XXXXXX";
  if (mkdtemp(path.data()) == nullptr) throw std::system_error(errno, std::generic_category(), path);
  return fs::canonical(path);
}

// A zone file of version 1 for UTC: 44 bytes of header, of which the counts of local time types (1) and of the bytes of
// their names (4) are not zero; the type, which is all zero; its name.
std::string zoneFile() {
  std::string text = "TZif" + std::string(50, '\0');
  text[39] = 1;
  text[43] = 4;
  return text.replace(50, 3, "UTC");
}

}  // namespace

KeptFile::KeptFile(const fs::path &file) : file_(file), kept_(file.string() + ".kova-platform-check") {
  if (fs::exists(fs::symlink_status(kept_))) {
    throw std::runtime_error(kept_.string() + " is left of a check that was killed: move it back to " + file_.string());
  }
  if (!fs::exists(fs::symlink_status(file_))) return;
  const fs::path copy = kept_.string() + ".new";
  fs::copy_file(file_, copy, fs::copy_options::overwrite_existing);
  std::error_code error, ignored;
  fs::create_hard_link(file_, kept_, error);
  if (!error) fs::rename(copy, file_, error);
  if (!error) return;
  for (const fs::path &made : {copy, kept_}) fs::remove(made, ignored);
  throw fs::filesystem_error("cannot keep", file_, error);
}

KeptFile::~KeptFile() {
  std::error_code error;
  fs::rename(kept_, file_, error);
  if (error == std::errc::no_such_file_or_directory) fs::remove(file_, error);
}

Descriptor lockedRoot(const std::string &path) {
  Descriptor root = openDirectory(path);
  if (!root) throw std::system_error(errno, std::generic_category(), path);
  if (flock(root.get(), LOCK_EX | LOCK_NB) != 0) throw std::runtime_error("another check is running on " + path);
  return root;
}

DeviceRoot::DeviceRoot(const std::string &path, Touches touches)
    : isScratch_(path.empty()), path_(isScratch_ ? scratchDirectory() : fs::canonical(path).string()) {
  if (path_ == "/") path_.clear();
  clock_gettime(CLOCK_REALTIME_COARSE, &madeAt_);
  if (!isScratch_ && touches == Touches::kDevice) {
    for (const char *file : {kAccountFile, kInformationFile}) kept_.emplace_back(at(file));
  }
  if (isScratch_) fill();
  fs::create_directories(at(kOwnDirectory));
}

DeviceRoot::~DeviceRoot() {
  std::error_code error;
  fs::remove_all(isScratch_ ? path_ : at(kOwnDirectory), error);
}

void DeviceRoot::fill() const {
  for (const char *directory : {"/etc.defaults", "/etc/cron.d", "/var/lib/kova", "/var/log/kova"}) {
    fs::create_directories(at(directory));
  }
  write("/etc.defaults/kovadevice.conf",
        "serial=\"2150KV0000001\"\ncustom_serial=\"CUSTOM0000001\"\nmac=\"00:11:32:aa:bb:cc\"\n");
  write("/etc.defaults/tarvinfo.conf", "");
  write(kInformationFile, "language=\"enu\"\ntimezone=\"Europe/Berlin\"\n");
  write("/usr/share/zoneinfo/Europe/Berlin", zoneFile());
  write("/usr/tarv/share/kova/notifications.conf",
        R"({"KovaPasswordChanged": {"subject": "Changed", "text": "The password of %KOVA_ACCOUNT% was changed."}})");
}

void DeviceRoot::write(const std::string &path, std::string_view text, mode_t mode) const {
  const fs::path file = at(path);
  std::error_code error;
  fs::create_directories(file.parent_path(), error);
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  stream.close();
  if (!stream || chmod(file.c_str(), mode) != 0) throw NotJudged{"cannot write " + file.string()};
  // A file system that is mounted with "noexec" refuses it.
  if ((mode & S_IXUSR) != 0 && access(file.c_str(), X_OK) != 0) {
    throw NotJudged{"no program can be started from " + file.parent_path().string()};
  }
}

std::string DeviceRoot::read(const std::string &path) const {
  std::ifstream file(at(path), std::ios::binary);
  if (!file) return "(no file)";
  return {std::istreambuf_iterator<char>(file), {}};
}

mode_t DeviceRoot::mode(const std::string &path) const {
  struct stat status = {};
  return stat(at(path).c_str(), &status) == 0 ? status.st_mode & ALLPERMS : kNoFile;
}

std::vector<fs::path> DeviceRoot::filesWith(std::string_view text) const {
  constexpr off_t kLargest = 16 << 20;
  std::vector<fs::path> found;
  for (const char *directory : {"/etc", "/var", "/usr/tarv"}) {
    std::error_code error;
    fs::recursive_directory_iterator entry(at(directory), fs::directory_options::skip_permission_denied, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
      struct stat status = {};
      if (lstat(entry->path().c_str(), &status) != 0 || !S_ISREG(status.st_mode)) continue;
      const bool isRecent = status.st_ctim.tv_sec > madeAt_.tv_sec ||
                            (status.st_ctim.tv_sec == madeAt_.tv_sec && status.st_ctim.tv_nsec >= madeAt_.tv_nsec);
      if (!isRecent || status.st_size > kLargest) continue;
      std::ifstream file(entry->path(), std::ios::binary);
      const std::string content{std::istreambuf_iterator<char>(file), {}};
      if (content.find(text) != std::string::npos) found.push_back(entry->path());
    }
  }
  return found;
}

}  // namespace kova::check
