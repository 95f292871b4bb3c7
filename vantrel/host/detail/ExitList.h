#pragma once

#include <atomic>
#include <memory>
#include <vector>

#include "vantrel/base/ExitGate.h"
#include "vantrel/base/Mutex.h"

namespace vantrel::host::detail {

/// The parts of the process that have something to do when it exits, wherever they are kept. Threads: any.
class ExitList {
 public:
  class Member {
   public:
    virtual ~Member() = default;

    /// The process exits: no thread of ours gets to run from here on.
    virtual void exiting() = 0;
  };

  /// The list of the process, never destroyed.
  static ExitList& shared();

  void add(const std::weak_ptr<Member>& member);

  /// Keeps what a fork must not destroy, as its parts would wait for a thread that is not there.
  void abandon(std::shared_ptr<Member> member);

  /// Whether the exit has begun.
  bool begun() const { return begun_; }

  // So that a forked child does not find the list locked by a thread that it does not have.
  void beforeFork() VANTREL_ACQUIRE(mutex_) { mutex_.lock(); }
  void afterFork() VANTREL_RELEASE(mutex_) { mutex_.unlock(); }

 private:
  void run();

  Mutex mutex_;
  std::vector<std::weak_ptr<Member>> members_ VANTREL_GUARDED_BY(mutex_);
  std::vector<std::shared_ptr<Member>> abandoned_ VANTREL_GUARDED_BY(mutex_);
  bool installed_ VANTREL_GUARDED_BY(mutex_) = false;
  std::atomic<bool> begun_ = false;
  ExitGate gate_;
};

}  // namespace vantrel::host::detail
