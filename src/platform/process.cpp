#include "platform/process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

#include "base/descriptor.h"
#include "base/release.h"
#include "platform/device_path.h"
#include "platform/last_error.h"

namespace kova::platform {
namespace {

constexpr int kFirstClosedDescriptor = 3;

void check(int error) {
  if (error != 0) throw Failure{error == ENOMEM ? TLIBC_ERR_OUT_OF_MEMORY : TLIBC_ERR_EXEC_FAILED};
}

// A program that is ready to start. It refers to the caller's path and arguments.
class Program {
 public:
  Program(const std::string &path, const char *const arguments[], const Descriptor &output = Descriptor())
      : arguments_{const_cast<char *>(path.c_str())} {
    for (; arguments != nullptr && *arguments != nullptr; ++arguments) {
      arguments_.push_back(const_cast<char *>(*arguments));
    }
    arguments_.push_back(nullptr);

    sigset_t none, all;
    sigemptyset(&none);
    sigfillset(&all);
    check(posix_spawnattr_setsigmask(&attributes_.value, &none));
    check(posix_spawnattr_setsigdefault(&attributes_.value, &all));
    check(posix_spawnattr_setflags(&attributes_.value, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF));
    if (output) check(posix_spawn_file_actions_adddup2(&actions_.value, output.get(), STDOUT_FILENO));
    check(posix_spawn_file_actions_addclosefrom_np(&actions_.value, kFirstClosedDescriptor));
  }

  // Returns the error number, also when the program could not be executed. Allocates nothing.
  int tryStart(pid_t &child) const noexcept {
    return posix_spawn(&child, arguments_[0], &actions_.value, &attributes_.value, arguments_.data(), environ);
  }

  pid_t start() const {
    pid_t child = 0;
    check(tryStart(child));
    return child;
  }

 private:
  struct Attributes {
    Attributes() { check(posix_spawnattr_init(&value)); }
    Attributes(const Attributes &) = delete;
    ~Attributes() { posix_spawnattr_destroy(&value); }
    posix_spawnattr_t value;
  };
  struct Actions {
    Actions() { check(posix_spawn_file_actions_init(&value)); }
    Actions(const Actions &) = delete;
    ~Actions() { posix_spawn_file_actions_destroy(&value); }
    posix_spawn_file_actions_t value;
  };

  std::vector<char *> arguments_;
  Attributes attributes_;
  Actions actions_;
};

int waitFor(pid_t child) {
  int status = 0;
  if (retried([&] { return waitpid(child, &status, 0); }) != child) throw Failure{TLIBC_ERR_EXEC_FAILED};
  return status;
}

int exitCode(int status) {
  return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// While this exists, SIGCHLD has its default action and is blocked in this thread. Otherwise the calling program might
// ignore the signal, so that there is no exit status to wait for, or might wait for all children in its handler.
class ChildWaitGuard {
 public:
  ChildWaitGuard() {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGCHLD);
    pthread_sigmask(SIG_BLOCK, &ends, &mask_);
    struct sigaction standard = {};
    standard.sa_handler = SIG_DFL;
    sigaction(SIGCHLD, &standard, &action_);
  }
  ChildWaitGuard(const ChildWaitGuard &) = delete;
  ChildWaitGuard &operator=(const ChildWaitGuard &) = delete;
  ~ChildWaitGuard() {
    sigaction(SIGCHLD, &action_, nullptr);
    pthread_sigmask(SIG_SETMASK, &mask_, nullptr);
  }

 private:
  sigset_t mask_;
  struct sigaction action_;
};

// Starts a program that is not waited for. It is started by a child that ends at once, so that the system's init
// process waits for it.
void startDetached(const Program &program) {
  const ChildWaitGuard guard;
  const pid_t child = fork();
  if (child < 0) throw Failure{TLIBC_ERR_EXEC_FAILED};
  if (child == 0) {
    pid_t grandchild = 0;
    _exit(program.tryStart(grandchild));  // an error number fits into an exit status
  }
  check(exitCode(waitFor(child)));
}

struct OpenPipe {
  FILE *stream;
  pid_t child;
};

// The programs between Popen and Pclose. Never destroyed, since Pclose may be called while the process exits.
struct OpenPipes {
  std::mutex mutex;
  std::vector<OpenPipe> list;
};

OpenPipes &openPipes() {
  static auto &pipes = *new OpenPipes;
  return pipes;
}

FILE *openProgram(const std::string &path, const char *const arguments[]) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw Failure{TLIBC_ERR_OPEN_FAILED};
  Descriptor readEnd(ends[0]);
  const Descriptor writeEnd(ends[1]);
  std::unique_ptr<std::FILE, Release<std::fclose>> stream(fdopen(readEnd.get(), "r"));
  if (!stream) throw Failure{TLIBC_ERR_OUT_OF_MEMORY};
  readEnd.release();

  const Program program(path, arguments, writeEnd);
  OpenPipes &pipes = openPipes();
  const std::lock_guard lock(pipes.mutex);
  pipes.list.push_back({stream.get(), 0});  // first: once the program runs, nothing may fail
  try {
    pipes.list.back().child = program.start();
  } catch (...) {
    pipes.list.pop_back();
    throw;
  }
  return stream.release();
}

pid_t takeChildOf(FILE *stream) {
  OpenPipes &pipes = openPipes();
  const std::lock_guard lock(pipes.mutex);
  const auto found = std::ranges::find(pipes.list, stream, &OpenPipe::stream);
  require(found != pipes.list.end());
  const pid_t child = found->child;
  pipes.list.erase(found);
  return child;
}

}  // namespace

int run(const std::string &path, const char *const arguments[]) {
  const ChildWaitGuard guard;
  return exitCode(waitFor(Program(path, arguments).start()));
}

}  // namespace kova::platform

using namespace kova::platform;
using kova::retried;

FILE *TLIBCPopen(const char *program, const char *const arguments[], const char *mode) {
  return withLastError<FILE *>(nullptr, [&] {
    require(program != nullptr && mode != nullptr && std::string_view(mode) == "r");
    return openProgram(devicePath(program), arguments);
  });
}

int TLIBCPclose(FILE *stream) {
  return withLastError(-1, [&] {
    require(stream != nullptr);
    const pid_t child = takeChildOf(stream);
    std::fclose(stream);
    int status = 0;
    // There is no status where the calling program ignores SIGCHLD or has waited for the child itself.
    const pid_t ended = retried([&] { return waitpid(child, &status, 0); });
    if (ended != child && errno != ECHILD) throw Failure{TLIBC_ERR_EXEC_FAILED};
    return status;
  });
}

int TLIBCExecv(const char *program, const char *const arguments[], int wait) {
  return withLastError(-1, [&] {
    require(program != nullptr);
    const std::string path = devicePath(program);
    if (wait != 0) return run(path, arguments);
    startDetached(Program(path, arguments));
    return 0;
  });
}
