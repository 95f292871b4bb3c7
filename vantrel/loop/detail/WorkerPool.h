#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <span>
#include <thread>

#include "vantrel/base/Mutex.h"
#include "vantrel/loop/detail/ForkCount.h"

namespace vantrel::loop::detail {

/// The threads and the waiting tasks of one background queue in one process. Each thread shares in the
/// ownership, so that a task may drop the queue it runs on.
///
/// Threads: any. In a forked child only `isForked`, and `close`, which then does nothing.
class WorkerPool : public std::enable_shared_from_this<WorkerPool> {
 public:
  using Task = std::function<void()>;

  /// Made by `std::make_shared`. It must be closed before the last owner outside lets go of it.
  explicit WorkerPool(std::size_t limit);
  WorkerPool(const WorkerPool&) = delete;
  WorkerPool& operator=(const WorkerPool&) = delete;

  /// Takes the tasks into the queue, or leaves them where they are once `close` has begun. Throws only when
  /// there is no memory to queue all of them, and then takes none.
  void post(std::span<Task> tasks);

  /// Runs what is queued, drops what comes later and waits for the threads. Called from one of them it waits
  /// for the tasks of the others only.
  void close();

  /// The calling thread does not come back to the pool, if it is one of its workers.
  void leaveIfWorker();

  std::size_t workers() const;

  /// Whether this is the copy of a parent's pool: it has no threads, and its mutex may be held for ever.
  bool isForked() const { return madeAt_ != forkCount(); }

 private:
  using Threads = std::list<std::thread>;

  /// What is left to do once the mutex is free, as a sink of the log may use the queue.
  struct Refusal {
    bool say = false;  ///< that the system gives no threads
    bool ask = false;  ///< the main loop to try again
  };

  Refusal seeToThreads(std::size_t tasks) VANTREL_REQUIRES(mutex_);
  bool startWorker() VANTREL_REQUIRES(mutex_);
  void startWatching() VANTREL_REQUIRES(mutex_);
  void noteRefusal() VANTREL_REQUIRES(mutex_);
  Refusal takeRefusal() VANTREL_REQUIRES(mutex_);
  Refusal help() VANTREL_REQUIRES(mutex_);
  void leave() VANTREL_REQUIRES(mutex_);
  Task takeTask() VANTREL_REQUIRES(mutex_);
  bool incomplete() const VANTREL_REQUIRES(mutex_) {
    return workers_.size() < usual_ || !watcher_.joinable();
  }
  bool starved() const VANTREL_REQUIRES(mutex_) { return tasks_.size() > idle_ && workers_.size() < limit_; }

  void tell(Refusal refusal) VANTREL_EXCLUDES(mutex_);
  void tryAgain();
  void work(Threads::iterator self);
  void watch();

  const std::size_t limit_;
  const std::size_t usual_;
  const unsigned madeAt_ = forkCount();

  mutable Mutex mutex_;
  Condition work_;   ///< a task is queued, or the pool closes
  Condition watch_;  ///< tasks may be waiting, a worker has ended, or the pool closes
  Condition ended_;  ///< a worker has ended, or the pool closes
  std::deque<Task> tasks_ VANTREL_GUARDED_BY(mutex_);
  Threads workers_ VANTREL_GUARDED_BY(mutex_);
  Threads finished_ VANTREL_GUARDED_BY(mutex_);  ///< ended, not joined yet
  std::thread watcher_ VANTREL_GUARDED_BY(mutex_);
  std::size_t idle_ VANTREL_GUARDED_BY(mutex_) = 0;
  std::uint64_t taken_ VANTREL_GUARDED_BY(mutex_) = 0;
  bool closing_ VANTREL_GUARDED_BY(mutex_) = false;
  bool refused_ VANTREL_GUARDED_BY(mutex_) = false;  ///< the system gave no thread when last asked
  bool unsaid_ VANTREL_GUARDED_BY(mutex_) = false;   ///< and the log has not heard of it
  bool asked_ VANTREL_GUARDED_BY(mutex_) = false;    ///< the main loop is going to try again
};

}  // namespace vantrel::loop::detail
