// Processes of a rule's own.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include "base/descriptor.h"

namespace kova::check {

// The exit code of a child that has done its work: not one that a platform would end the process with.
inline constexpr int kWorkDone = 42;

// Runs `work` in a process of its own; returns that process.
template <class Work>
pid_t inChild(Work work) {
  const pid_t child = fork();
  if (child != 0) return child;
  work();
  _exit(kWorkDone);
}

// Returns the child's status.
inline int waitForChild(pid_t child) {
  int status = 0;
  retried([&] { return waitpid(child, &status, 0); });
  return status;
}

}  // namespace kova::check
