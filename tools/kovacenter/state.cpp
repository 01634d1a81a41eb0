#include "kovacenter/state.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <stdexcept>
#include <system_error>

#include "base/json.h"
#include "kovacenter/files.h"

namespace kova::center {
namespace {

constexpr const char *kLockFile = "lock";
constexpr const char *kRunFile = "run.json";
// Its members.
constexpr const char *kProcess = "pid";
constexpr const char *kHttpsPort = "https_port";
constexpr const char *kProxyPort = "proxy_port";

struct flock wholeFileLock() {
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  return lock;
}

Descriptor openLockFile(const State &state) {
  return openFile(state.file(kLockFile), O_RDWR | O_CREAT, 0600);
}

// What the service that runs on the state has published; nothing where none runs.
std::optional<Json::Value> readRunFile(const State &state, const Descriptor &lockFile) {
  struct flock holder = wholeFileLock();
  if (fcntl(lockFile.get(), F_OFD_GETLK, &holder) < 0) throwErrno("lock");
  if (holder.l_type == F_UNLCK || !std::filesystem::exists(state.file(kRunFile))) return std::nullopt;
  std::optional<Json::Value> run = parseJsonObject(readFile(state.file(kRunFile)));
  if (!run) throw std::runtime_error("not a JSON object");
  return run;
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
  const std::optional<Json::Value> run = readRunFile(state, openLockFile(state));
  if (!run) return std::nullopt;
  return Ports{(*run)[kHttpsPort].asInt(), (*run)[kProxyPort].asInt()};
}

void stopService(const State &state) {
  const Descriptor lockFile = openLockFile(state);
  const std::optional<Json::Value> run = readRunFile(state, lockFile);
  const pid_t service = run ? (*run)[kProcess].asInt() : 0;
  if (service <= 0) throw std::runtime_error("no service runs on this state");
  if (kill(service, SIGTERM) < 0) throwErrno("kill");
  struct flock lock = wholeFileLock();
  if (retried([&] { return fcntl(lockFile.get(), F_OFD_SETLKW, &lock); }) < 0) throwErrno("lock");
}

ServiceLock::ServiceLock(const State &state) : runFile_(state.file(kRunFile)), lock_(openLockFile(state)) {
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
  run[kProcess] = static_cast<Json::Int>(getpid());
  run[kHttpsPort] = ports.https;
  run[kProxyPort] = ports.proxy;
  writeFile(runFile_, jsonLine(run) + "\n", 0600);
}

}  // namespace kova::center
