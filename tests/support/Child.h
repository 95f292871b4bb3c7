#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <functional>

namespace vantrel::tests {

/// Starts a process that ends with 0 when `body` is true there, else with 1, and without any clean-up; an
/// alarm ends one that hangs.
inline pid_t startChild(const std::function<bool()>& body) {
  const pid_t child = fork();
  if (child == 0) {
    alarm(120);
    _exit(body() ? 0 : 1);
  }
  return child;
}

/// What the process ended with; -1 when a signal ended it.
inline int resultOf(pid_t child) {
  int status = 0;
  const bool ended = waitpid(child, &status, 0) == child && WIFEXITED(status);
  return ended ? WEXITSTATUS(status) : -1;
}

}  // namespace vantrel::tests
