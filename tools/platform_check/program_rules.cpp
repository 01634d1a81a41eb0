// Starting programs.
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

#include "base/descriptor.h"
#include "platform_check/rule.h"

namespace kova::check {
namespace {

// A program of these shell commands; returns the device's path of it.
std::string program(const Check &check, const std::string &commands) {
  std::string path = std::string(kOwnDirectory) + "/program with spaces";
  check.root.write(path, "#!/bin/sh\n" + commands + "\n", 0700);
  return path;
}

int execute(const Check &check, const std::string &path, const std::vector<const char *> &arguments = {nullptr}) {
  return check->TLIBCExecv(path.c_str(), arguments.data(), 1);
}

struct Run {
  std::string output;
  int status;
};

// Runs a program on a stream of TLIBCPopen to its end.
Run runOnStream(const Check &check, const std::string &path, const std::vector<const char *> &arguments = {nullptr}) {
  std::FILE *const stream =
      check.succeeds("popen", [&] { return check->TLIBCPopen(path.c_str(), arguments.data(), "r"); });
  Run run{"", -1};
  if (stream == nullptr) return run;
  for (int c = 0; (c = std::getc(stream)) != EOF;) run.output += static_cast<char>(c);
  run.status = check.succeeds("pclose", [&] { return check->TLIBCPclose(stream); });
  return run;
}

// Throws NotJudged where the system itself does not tell that a program cannot be started: under an emulator of another
// processor the start succeeds, and the child ends with 127.
void needFailedStarts() {
  pid_t child = 0;
  char *const none[] = {nullptr};
  if (posix_spawn(&child, "/nowhere", nullptr, nullptr, none, none) != 0) return;
  waitpid(child, nullptr, 0);
  throw NotJudged{"the emulator does not tell it"};
}

// What a shell would change, each an argument of its own.
const std::vector<const char *> kArguments = {"two words", "it's", "\"", "$HOME",   "`id`",
                                              "*",         "\\",   "",   ";exit 3", nullptr};
constexpr char kShownArguments[] = "[two words][it's][\"][$HOME][`id`][*][\\][][;exit 3]";
constexpr char kShowArguments[] = "printf '[%s]' \"$@\"";

// Tells which descriptors above 2 are open; the shell itself has none from 3 to 9.
constexpr char kShowDescriptors[] =
    "for i in 3 4 5 6 7 8 9; do if eval \"true <&$i\" 2>/dev/null; then printf $i; fi; done";

void openDescriptors() {
  for (int i = 3; i < 10; ++i) {
    if (fcntl(i, F_GETFD) < 0) dup2(STDIN_FILENO, i);
  }
}

constexpr Rule kRules[] = {
    {"TLIBCPopen", "arguments", "hands over the arguments as they are, without a shell",
     [](const Check &check) {
       const Run run = runOnStream(check, program(check, kShowArguments), kArguments);
       check.equal(run.output, kShownArguments, "the arguments");
       check.equal(run.status, 0, "the status");
     }},
    {"TLIBCPopen", "no-arguments", "the arguments may be null",
     [](const Check &check) {
       const std::string path = program(check, "printf '%s' \"$#\"");
       std::FILE *const stream = check->TLIBCPopen(path.c_str(), nullptr, "r");
       if (stream == nullptr) return check.finding("fails");
       check.equal(std::string(1, static_cast<char>(std::getc(stream))), "0", "the number of arguments");
       check->TLIBCPclose(stream);
     }},
    {"TLIBCPopen", "environment", "the program inherits the environment",
     [](const Check &check) {
       setenv("INHERITED", "of the caller", 1);
       check.equal(runOnStream(check, program(check, "printf %s \"$INHERITED\"")).output, "of the caller",
                   "a variable");
     }},
    {"TLIBCPopen", "descriptors", "the program inherits no descriptor above 2",
     [](const Check &check) {
       openDescriptors();
       check.equal(runOnStream(check, program(check, kShowDescriptors)).output, "", "descriptors inherited");
     }},
    {"TLIBCPopen", "not-started", "a program that cannot be started is a failure",
     [](const Check &check) {
       needFailedStarts();
       const std::string path = program(check, "exit 0");
       chmod(check.root.at(path).c_str(), 0600);
       for (const std::string &each : {path, path + "/absent", std::string(kOwnDirectory) + "/absent"}) {
         check.fails(shown(each), TLIBC_ERR_EXEC_FAILED, [&] { return check->TLIBCPopen(each.c_str(), nullptr, "r"); });
       }
     }},
    {"TLIBCPopen", "null", "null is a failure",
     [](const Check &check) {
       const std::string path = program(check, "exit 0");
       check.refusesNull([&] { return check->TLIBCPopen(nullptr, nullptr, "r"); });
       check.refusesNull([&] { return check->TLIBCPopen(path.c_str(), nullptr, nullptr); });
     }},
    {"TLIBCPclose", "status", "returns the status as waitpid gives it",
     [](const Check &check) {
       const int exited = runOnStream(check, program(check, "exit 7")).status;
       check.expect(WIFEXITED(exited) && WEXITSTATUS(exited) == 7, "\"exit 7\": " + std::to_string(exited));
       const int killed = runOnStream(check, program(check, "kill -TERM $$")).status;
       check.expect(WIFSIGNALED(killed) && WTERMSIG(killed) == SIGTERM, "SIGTERM: " + std::to_string(killed));
     }},
    {"TLIBCPclose", "two-streams", "waits for the program of this stream",
     [](const Check &check) {
       const std::string path = program(check, "exit $1");
       const char *const arguments[][2] = {{"1", nullptr}, {"2", nullptr}};
       std::FILE *const one = check->TLIBCPopen(path.c_str(), arguments[0], "r");
       std::FILE *const two = check->TLIBCPopen(path.c_str(), arguments[1], "r");
       if (one == nullptr || two == nullptr) return check.finding("a program cannot be started");
       check.equal(WEXITSTATUS(check->TLIBCPclose(one)), 1, "the first program's exit code");
       check.equal(WEXITSTATUS(check->TLIBCPclose(two)), 2, "the second program's exit code");
     }},
    {"TLIBCPclose", "ignored-signal", "0 where the caller ignores SIGCHLD",
     [](const Check &check) {
       std::signal(SIGCHLD, SIG_IGN);
       check.equal(runOnStream(check, program(check, "exit 0")).status, 0, "the status");
     }},
    {"TLIBCPclose", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TLIBCPclose(nullptr); }); }},
    {"TLIBCExecv", "arguments", "hands over the arguments as they are, without a shell",
     [](const Check &check) {
       const std::string path = program(check, std::string(kShowArguments) + " >\"$0.out\"");
       check.equal(execute(check, path, kArguments), 0, "the exit code");
       check.equal(check.root.read(path + ".out"), kShownArguments, "the arguments");
     }},
    {"TLIBCExecv", "inherited", "the program inherits the environment and the descriptors 0 to 2",
     [](const Check &check) {
       const std::string path = program(check, "read -r line; echo \"$line $INHERITED\"; echo error >&2");
       check.root.write(path + ".in", "line\n");
       check.root.write(path + ".out", "");
       const Descriptor input(open(check.root.at(path + ".in").c_str(), O_RDONLY | O_CLOEXEC));
       const Descriptor output(open(check.root.at(path + ".out").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC));
       dup2(input.get(), STDIN_FILENO);
       for (const int stream : {STDOUT_FILENO, STDERR_FILENO}) dup2(output.get(), stream);
       setenv("INHERITED", "of the caller", 1);
       execute(check, path);
       check.equal(check.root.read(path + ".out"), "line of the caller\nerror\n", "what the program reads and writes");
     }},
    {"TLIBCExecv", "exit-code", "returns the exit code, or 128 and the number of the signal",
     [](const Check &check) {
       for (const auto &[commands, expected] :
            std::vector<std::pair<const char *, int>>{{"exit 0", 0},
                                                      {"exit 7", 7},
                                                      {"exit 255", 255},
                                                      {"kill -TERM $$", 128 + SIGTERM},
                                                      {"kill -KILL $$", 128 + SIGKILL}}) {
         const std::string path = program(check, commands);
         check.equal(check.succeeds(commands, [&] { return execute(check, path); }), expected, commands);
       }
     }},
    {"TLIBCExecv", "not-started", "negative where the program cannot be started, waited for or not",
     [](const Check &check) {
       needFailedStarts();
       const std::string path = program(check, "exit 0");
       chmod(check.root.at(path).c_str(), 0600);
       for (const std::string &each : {path, std::string(kOwnDirectory) + "/absent"}) {
         for (const int wait : {0, 1}) {
           check.fails(shown(each) + (wait != 0 ? ", waited for" : ", not waited for"), TLIBC_ERR_EXEC_FAILED,
                       [&] { return check->TLIBCExecv(each.c_str(), nullptr, wait); });
         }
       }
     }},
    {"TLIBCExecv", "no-wait", "without \"wait\" returns 0 while the program runs",
     [](const Check &check) {
       // The program ends only after the call has returned: it waits for a file, or for the end of the check.
       const std::string path =
           program(check, "until [ -e \"$0.go\" ] || [ ! -e \"$0\" ]; do sleep 0.01; done; echo done >\"$0.out\"");
       const int result = check->TLIBCExecv(path.c_str(), nullptr, 0);
       check.equal(result, 0, "the result");
       if (result != 0) return;
       check.root.write(path + ".go", "");
       while (check.root.read(path + ".out") != "done\n") usleep(1000);
     }},
    {"TLIBCExecv", "descriptors", "the program inherits no descriptor above 2",
     [](const Check &check) {
       openDescriptors();
       const std::string path = program(check, std::string("{ ") + kShowDescriptors + "; } >\"$0.out\"");
       execute(check, path);
       check.equal(check.root.read(path + ".out"), "", "descriptors inherited");
     }},
    {"TLIBCExecv", "ignored-signal", "returns the exit code also where the caller ignores SIGCHLD",
     [](const Check &check) {
       std::signal(SIGCHLD, SIG_IGN);
       const std::string path = program(check, "exit 7");
       check.equal(check.succeeds("a call", [&] { return execute(check, path); }), 7, "the exit code");
       struct sigaction now = {};
       sigaction(SIGCHLD, nullptr, &now);
       check.expect(now.sa_handler == SIG_IGN, "the caller's action for SIGCHLD is not the same as before");
     }},
    {"TLIBCExecv", "signal-mask", "the caller's signal mask is then as before",
     [](const Check &check) {
       const std::string path = program(check, "exit 0");
       for (const int how : {SIG_UNBLOCK, SIG_BLOCK}) {
         sigset_t signals, now;
         sigemptyset(&signals);
         sigaddset(&signals, SIGCHLD);
         sigprocmask(how, &signals, nullptr);
         execute(check, path);
         sigprocmask(SIG_BLOCK, nullptr, &now);
         check.equal(sigismember(&now, SIGCHLD), how == SIG_BLOCK ? 1 : 0, "whether SIGCHLD is blocked");
       }
     }},
    {"TLIBCExecv", "null", "null is a failure",
     [](const Check &check) { check.refusesNull([&] { return check->TLIBCExecv(nullptr, nullptr, 1); }); }},
};

}  // namespace

std::span<const Rule> programRules() {
  return kRules;
}

}  // namespace kova::check
