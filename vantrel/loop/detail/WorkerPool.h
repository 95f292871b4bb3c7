#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <thread>

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

  /// Takes the task into the queue, or leaves it where it is once `close` has begun. Throws only when there
  /// is no memory to queue it.
  void post(Task&& task);

  /// Runs what is queued, drops what comes later and waits for the threads. Called from one of them it waits
  /// for the tasks of the others only.
  void close();

  /// The calling thread does not come back to the pool, if it is one of its workers.
  void leaveIfWorker();

  std::size_t workers() const;

  /// Whether this is the copy of a parent's pool: it has no threads, and its mutex may be held for ever.
  bool isForked() const { return madeAt_ != forkCount(); }

 private:
  using Lock = std::unique_lock<std::mutex>;
  using Threads = std::list<std::thread>;

  // All of these are called with the mutex held.
  void seeToThreads(Lock& lock);
  bool startWorker();
  void startWatching();
  void noteRefusal();
  void afterRefusal(Lock& lock);
  void help(Lock& lock);
  void leave();
  void runOne(Lock& lock);
  void joinFinished(Lock& lock);
  bool incomplete() const { return workers_.size() < usual_ || !watcher_.joinable(); }
  bool starved() const { return tasks_.size() > idle_ && workers_.size() < limit_; }

  void tryAgain();
  void work(Threads::iterator self);
  void watch();

  const std::size_t limit_;
  const std::size_t usual_;
  const unsigned madeAt_ = forkCount();

  mutable std::mutex mutex_;
  std::condition_variable work_;   ///< a task is queued, or the pool closes
  std::condition_variable watch_;  ///< tasks may be waiting, a worker has ended, or the pool closes
  std::condition_variable ended_;  ///< a worker has ended, or the pool closes
  std::deque<Task> tasks_;
  Threads workers_;
  Threads finished_;  ///< ended, not joined yet
  std::thread watcher_;
  std::size_t idle_ = 0;
  std::uint64_t taken_ = 0;
  bool closing_ = false;
  bool refused_ = false;  ///< the system gave no thread when last asked
  bool unsaid_ = false;   ///< and the log has not heard of it
  bool asked_ = false;    ///< the main loop is going to try again
};

}  // namespace vantrel::loop::detail
