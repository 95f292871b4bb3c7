#pragma once

#include <unistd.h>

#include <atomic>
#include <cstdlib>

namespace vantrel {

/// Lets one thread through an exit handler. The C library lets any number of threads into `exit` at once:
/// each runs the handlers that are left, whoever finds none ends the process while others are still at
/// theirs, and its own lists do not stand it. A thread that comes second stops here for good; the first one
/// ends the process.
class ExitGate {
 public:
  /// For the beginning of `handler`, which is registered once more, so that a second thread finds it too.
  /// True for the first thread; false when that comes again. Any other calls `leave` and never returns.
  template <typename Leave>
  bool enter(void (*handler)(), const Leave& leave) {
    static constinit thread_local char self = 0;
    const char* first = first_.load();
    if (first == &self) return false;
    std::atexit(handler);
    if (!first && first_.compare_exchange_strong(first, &self)) return true;
    leave();
    for (;;) pause();
  }

 private:
  std::atomic<const char*> first_{nullptr};
};

}  // namespace vantrel
