#include "kovacenter/state.h"

#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>
#include <system_error>

#include "base/json.h"
#include "kovacenter/files.h"

namespace kova::center {
namespace {

constexpr const char *kLockFile = "lock";
constexpr const char *kRunFile = "run.json";

struct flock wholeFileLock() {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

}  // namespace

State::State(const std::filesystem::path &directory) : directory_(std::filesystem::absolute(directory)) {
  std::filesystem::create_directories(directory_.parent_path());
  claimDirectory(directory_, 0700, true, kDatabase);
}

State State::existing(const std::filesystem::path &directory) {
  if (!std::filesystem::exists(directory / kDatabase)) {
    throw std::runtime_error(directory.string() + " holds no service's state; \"kovacenter serve --state " +
                             directory.string() + "\" makes one");
  }
  return State(directory);
}

std::optional<Ports> runningService(const State &state) {
  const Descriptor lock = openFile(state.file(kLockFile), O_RDWR | O_CREAT, 0600);
  struct flock holder = wholeFileLock();
  if (fcntl(lock.get(), F_OFD_GETLK, &holder) < 0) throwErrno("lock");
  if (holder.l_type == F_UNLCK || !std::filesystem::exists(state.file(kRunFile))) return std::nullopt;
  const std::optional<Json::Value> parsed = parseJsonObject(readFile(state.file(kRunFile)));
  if (!parsed) throw std::runtime_error("not a JSON object");
  const Json::Value &run = *parsed;
  return Ports{run["https_port"].asInt(), run["proxy_port"].asInt()};
}

ServiceLock::ServiceLock(const State &state)
    : runFile_(state.file(kRunFile)), lock_(openFile(state.file(kLockFile), O_RDWR | O_CREAT, 0600)) {
  struct flock lock = wholeFileLock();
  if (fcntl(lock_.get(), F_OFD_SETLK, &lock) < 0) throw std::runtime_error("a service runs on this state already");
  std::filesystem::remove(runFile_);
}

ServiceLock::~ServiceLock() {
  std::error_code ignored;
  std::filesystem::remove(runFile_, ignored);
}

void ServiceLock::publish(const Ports &ports) {
  Json::Value run;
  run["pid"] = static_cast<Json::Int>(getpid());
  run["https_port"] = ports.https;
  run["proxy_port"] = ports.proxy;
  writeFile(runFile_, jsonLine(run) + "\n", 0600);
}

}  // namespace kova::center
