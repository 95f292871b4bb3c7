#pragma once

#include <sys/resource.h>

#include <csignal>

namespace vantrel::tests {

/// While one lives, the process may use only so much of a resource (`RLIMIT_...`). A file that would grow too
/// large is refused, as on a full disk, and no signal.
class ScopedLimit {
 public:
  ScopedLimit(int resource, rlim_t most) : resource_(resource), signalBefore_(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(resource_, &before_);
    const rlimit limit{most, before_.rlim_max};
    setrlimit(resource_, &limit);
  }
  ~ScopedLimit() {
    setrlimit(resource_, &before_);
    std::signal(SIGXFSZ, signalBefore_);
  }
  ScopedLimit(const ScopedLimit&) = delete;

 private:
  int resource_;
  rlimit before_{};
  void (*signalBefore_)(int);
};

}  // namespace vantrel::tests
