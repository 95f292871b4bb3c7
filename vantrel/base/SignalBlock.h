#pragma once

#include <signal.h>

#include <initializer_list>
#include <thread>
#include <utility>

namespace vantrel {

/// Blocks the signals of the calling thread for a scope. A thread that is made meanwhile, also by a library
/// that is called, keeps them blocked for life, so that the program's signals go to the program's own
/// threads: its handlers run where it expects them, and none of its calls is interrupted elsewhere instead.
///
/// The signals by which the processor reports a fault of the thread itself (SIGSEGV and its like) stay open:
/// blocked, they would end the process without the program's crash handler.
///
/// Threads: the one that makes it.
class SignalBlock {
 public:
  SignalBlock() {
    sigset_t signals;
    sigfillset(&signals);
    for (const int fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGSYS}) sigdelset(&signals, fault);
    pthread_sigmask(SIG_BLOCK, &signals, &before_);
  }
  ~SignalBlock() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  SignalBlock(const SignalBlock&) = delete;
  SignalBlock& operator=(const SignalBlock&) = delete;

 private:
  sigset_t before_;
};

/// A thread that runs `body` with its signals blocked. Throws what `std::thread` throws.
template <typename Body>
std::thread threadWithoutSignals(Body&& body) {
  const SignalBlock block;
  return std::thread(std::forward<Body>(body));
}

}  // namespace vantrel
