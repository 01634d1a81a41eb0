#include "kovacenter/serve.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <new>
#include <optional>
#include <string_view>
#include <system_error>

#include "kovacenter/diagnostic.h"
#include "kovacenter/exit_code.h"
#include "kovacenter/files.h"
#include "kovacenter/server.h"
#include "kovacenter/service.h"

namespace kova::center {
namespace {

// The service with its sockets, from construction to destruction.
class Running {
 public:
  Running(const State &state, const ServeOptions &options)
      : lock_(state),
        service_(state, options.rules),
        server_(serverCredentials(state, options.certificate), service_, options.port) {
    lock_.publish(ports());
  }

  Ports ports() const { return server_.ports(); }

 private:
  ServiceLock lock_;
  Service service_;
  Server server_;
};

// Blocks the signals that end a service, and the one that a child ended, so that they can be waited for.
class Signals {
 public:
  Signals() {
    sigemptyset(&awaited_);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&awaited_, signal);
    sigprocmask(SIG_BLOCK, &awaited_, &before_);
    if (std::signal(SIGPIPE, SIG_IGN) == SIG_ERR) throwErrno("signal");
  }

  siginfo_t wait() const {
    siginfo_t info{};
    while (sigwaitinfo(&awaited_, &info) < 0) continue;
    return info;
  }
  const sigset_t &before() const { return before_; }

 private:
  sigset_t awaited_;
  sigset_t before_;
};

std::string proxyUrl(const Ports &ports) {
  return "http://127.0.0.1:" + std::to_string(ports.proxy);
}

// This process's environment, changed so that the library in a command finds the device and the service.
std::vector<std::string> environmentFor(const std::filesystem::path &device, const Ports &ports) {
  std::vector<std::string> environment = {"KOVA_DEVICE_ROOT=" + device.string(), "https_proxy=" + proxyUrl(ports)};
  constexpr std::string_view kReplaced[] = {"KOVA_DEVICE_ROOT", "https_proxy", "HTTPS_PROXY", "no_proxy", "NO_PROXY"};
  for (char **entry = environ; *entry != nullptr; ++entry) {
    const std::string_view text(*entry);
    if (std::ranges::count(kReplaced, text.substr(0, text.find('='))) == 0) environment.emplace_back(text);
  }
  return environment;
}

std::vector<char *> pointers(std::vector<std::string> &texts) {
  std::vector<char *> pointers;
  pointers.reserve(texts.size() + 1);
  for (std::string &text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

// What a command starts with: the signals as they were before this program took them.
class SpawnAttributes {
 public:
  explicit SpawnAttributes(const Signals &signals) {
    if (posix_spawnattr_init(&attributes_) != 0) throw std::bad_alloc();
    sigset_t defaults;
    sigemptyset(&defaults);
    sigaddset(&defaults, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &defaults);
    posix_spawnattr_setsigmask(&attributes_, &signals.before());
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  SpawnAttributes(const SpawnAttributes &) = delete;
  SpawnAttributes &operator=(const SpawnAttributes &) = delete;
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }

  const posix_spawnattr_t *get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_;
};

// Returns 0 or the system's error number.
int start(std::vector<std::string> command, std::vector<std::string> environment, const Signals &signals,
          pid_t &child) {
  const SpawnAttributes attributes(signals);
  return posix_spawnp(&child, command[0].c_str(), nullptr, attributes.get(), pointers(command).data(),
                      pointers(environment).data());
}

// Waits for the command's end, passing signals on to it; returns its exit code.
int await(pid_t child, const Signals &signals) {
  while (true) {
    const siginfo_t signal = signals.wait();
    // What the terminal sends, it sends to the command too.
    if (signal.si_signo != SIGCHLD && signal.si_code != SI_KERNEL) kill(child, signal.si_signo);
    int status = 0;
    if (waitpid(child, &status, WNOHANG) != child) continue;
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
}

std::string quoted(const std::string &text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + "'";
}

// Gives up the standard streams: what is told from now on goes to the file.
void leaveTerminal(const std::filesystem::path &log) {
  const Descriptor nothing = openFile("/dev/null", O_RDONLY);
  const Descriptor file = openFile(log, O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(nothing.get(), STDIN_FILENO);
  dup2(file.get(), STDOUT_FILENO);
  dup2(file.get(), STDERR_FILENO);
}

// Runs the service until a signal ends it; calls `onReady` when it listens and has said so.
template <class OnReady>
void runUntilSignal(const State &state, const ServeOptions &options, OnReady onReady) {
  const Signals signals;
  const Running service(state, options);
  std::cout << "kovacenter, for development only, on the loopback only: https port " << service.ports().https
            << ", proxy " << proxyUrl(service.ports()) << '\n'
            << std::flush;
  onReady();
  while (signals.wait().si_signo == SIGCHLD) continue;
}

}  // namespace

void serve(const State &state, const ServeOptions &options) {
  runUntilSignal(state, options, [] {});
}

int serveInBackground(const State &state, const ServeOptions &options) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) throwErrno("pipe");
  Descriptor reading(ends[0]), writing(ends[1]);
  const pid_t child = fork();
  if (child < 0) throwErrno("fork");
  if (child > 0) {
    writing = Descriptor();
    char ready = 0;
    if (retried([&] { return read(reading.get(), &ready, 1); }) == 1) return 0;
    int status = 0;
    retried([&] { return waitpid(child, &status, 0); });
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  }
  setsid();
  runUntilSignal(state, options, [&] {
    std::cout << "stop it with: kovacenter stop --state " << quoted(state.directory().string()) << '\n' << std::flush;
    leaveTerminal(state.log());
    writeAll(writing.get(), "\n");
  });
  return 0;
}

int runBesideService(const State &state, const ServeOptions &options, const std::filesystem::path &device,
                     const std::vector<std::string> &command) {
  const Signals signals;
  const Running service(state, options);
  DeviceOptions deviceOptions;
  deviceOptions.root = device;
  provideDeviceRoot(state, deviceOptions);
  pid_t child = 0;
  const int error = start(command, environmentFor(device, service.ports()), signals, child);
  if (error == 0) return await(child, signals);
  writeDiagnostic(command[0] + ": " + std::generic_category().message(error));
  return error == ENOENT ? kNotFound : kCannotRun;
}

void makeDevice(const State &state, const DeviceOptions &options) {
  provideDeviceRoot(state, options);
  std::cout << "export KOVA_DEVICE_ROOT=" << quoted(options.root.string()) << "\n";
  if (const std::optional<Ports> ports = runningService(state)) {
    std::cout << "export https_proxy=" << proxyUrl(*ports) << "\n";
  } else {
    std::cout << "unset https_proxy\n";
    writeDiagnostic("no service runs on this state; start it, then set https_proxy to its proxy");
  }
  std::cout << "unset no_proxy NO_PROXY\n";
}

}  // namespace kova::center
