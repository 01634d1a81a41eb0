#include "platform_check/runner.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <system_error>

#include "base/descriptor.h"

namespace kova::check {
namespace {

constexpr rlim_t kLargestFile = 16 << 20;

sigset_t heldSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGCHLD, SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGPIPE}) {
    struct sigaction action = {};
    sigaction(signal, nullptr, &action);
    if (action.sa_handler != SIG_IGN) sigaddset(&signals, signal);
  }
  return signals;
}

// A file in memory, which programs that the platform starts do not inherit.
Descriptor memoryFile() {
  Descriptor file(memfd_create("kova-platform-check", MFD_CLOEXEC));
  if (!file) throw std::system_error(errno, std::generic_category(), "memfd_create");
  return file;
}

std::string contentOf(const Descriptor &file) {
  SecretText text;
  lseek(file.get(), 0, SEEK_SET);
  readAll(file, text);
  return std::string(text);
}

[[noreturn]] void checkInChild(const Rule &rule, const Functions &functions, const DeviceRoot &root, int report,
                               int output) {
  const sigset_t signals = heldSignals();
  sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  const rlimit noCore{0, 0};
  setrlimit(RLIMIT_CORE, &noCore);
  // What is printed lies in memory. The device's own files, such as its log, may be larger.
  const rlimit largest{kLargestFile, kLargestFile};
  if (root.isScratch() || rule.touches == Touches::kOwnFiles) setrlimit(RLIMIT_FSIZE, &largest);
  const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  if (nothing.get() >= 0) dup2(nothing.get(), STDIN_FILENO);
  for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) dup2(output, stream);
  setenv("KOVA_DEVICE_ROOT", root.path().c_str(), 1);
  const Check check(functions, root, report);
  try {
    rule.check(check);
  } catch (const NotJudged &thrown) {
    check.report(kNotJudged, thrown.what());
  } catch (const MissingFunction &missing) {
    check.report(kNotJudged, std::string(missing.name) + " is missing");
  } catch (const std::exception &error) {
    check.finding(std::string("throws an exception: ") + error.what());
  } catch (...) {
    check.finding("throws an exception");
  }
  check.report(kDone, "");
  std::fflush(nullptr);
  _exit(0);
}

// The status of the child; nothing where it was ended because its time was over.
std::optional<int> waitFor(pid_t child, int seconds) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  const sigset_t signals = heldSignals();
  while (true) {
    int status = 0;
    if (waitpid(child, &status, WNOHANG) == child) return status;
    const auto left = std::chrono::ceil<std::chrono::seconds>(end - std::chrono::steady_clock::now()).count();
    const timespec pause{static_cast<time_t>(std::max<long long>(left, 0)), 0};
    const int signal = left > 0 ? sigtimedwait(&signals, nullptr, &pause) : 0;
    if (signal == SIGCHLD || signal < 0) continue;
    kill(-child, SIGKILL);
    waitpid(child, &status, 0);
    if (signal > 0) throw Interrupted{signal};
    return std::nullopt;
  }
}

}  // namespace

void holdSignals() {
  std::signal(SIGCHLD, SIG_DFL);  // else the rules would leave no status
  const sigset_t signals = heldSignals();
  sigprocmask(SIG_BLOCK, &signals, nullptr);
}

void endBySignal(int signal) {
  const sigset_t signals = heldSignals();
  sigprocmask(SIG_UNBLOCK, &signals, nullptr);
  raise(signal);
  _exit(128 + signal);
}

Outcome runRule(const Rule &rule, const Functions &functions, const DeviceRoot &root, int seconds) {
  const Descriptor report = memoryFile();
  const Descriptor output = memoryFile();
  const pid_t child = fork();
  if (child < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (child == 0) {
    setpgid(0, 0);
    checkInChild(rule, functions, root, report.get(), output.get());
  }
  setpgid(child, child);  // whichever of the two is first
  const std::optional<int> status = waitFor(child, seconds);
  kill(-child, SIGKILL);  // what the rule has started and left

  Outcome outcome;
  bool isDone = false;
  std::istringstream records(contentOf(report));
  for (std::string record; std::getline(records, record, '\0');) {
    if (record.front() == kNotJudged) outcome.notJudged = record.substr(1);
    if (record.front() == kDone) isDone = true;
    if (record.front() == kFinding && std::ranges::count(outcome.findings, record.substr(1)) == 0) {
      outcome.findings.push_back(record.substr(1));
    }
  }
  if (!status) {
    outcome.findings.push_back("does not end within " + std::to_string(seconds) + " s");
  } else if (WIFSIGNALED(*status)) {
    outcome.findings.push_back(std::string("crashes: ") + strsignal(WTERMSIG(*status)));
  } else if (WEXITSTATUS(*status) != 0) {
    outcome.findings.push_back("ends the process with exit code " + std::to_string(WEXITSTATUS(*status)));
  } else if (!isDone) {
    outcome.findings.emplace_back("ends the process, or closes descriptors that are not its own");
  }
  if (const std::string printed = contentOf(output); !printed.empty()) {
    outcome.findings.push_back("prints " + shown(printed));
  }
  return outcome;
}

}  // namespace kova::check
