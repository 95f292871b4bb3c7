#include "vantrel/loop/detail/WorkerPool.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <utility>

#include "vantrel/base/Log.h"
#include "vantrel/base/SignalBlock.h"
#include "vantrel/loop/MainQueue.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel::loop::detail {
namespace {

/// How long tasks wait for a worker before another one is started.
constexpr std::chrono::milliseconds kPatience{5};

/// How long until the system is asked again for a thread that it refused.
constexpr std::chrono::milliseconds kPause{100};

/// The pool whose worker the calling thread is, until it has left the pool.
constinit thread_local const WorkerPool* home = nullptr;

}  // namespace

WorkerPool::WorkerPool(std::size_t limit)
    : limit_(std::max<std::size_t>(limit, 1)),
      usual_(std::min<std::size_t>(limit_, std::max(1U, std::thread::hardware_concurrency()))) {}

void WorkerPool::post(Task&& task) {
  Lock lock(mutex_);
  if (closing_) return;
  tasks_.push_back(std::move(task));
  if (idle_ >= tasks_.size()) return work_.notify_one();
  if (starved()) watch_.notify_one();
  if (incomplete()) seeToThreads(lock);
}

void WorkerPool::close() {
  if (isForked()) return;
  const bool own = home == this;
  Lock lock(mutex_);
  closing_ = true;
  work_.notify_all();
  watch_.notify_all();
  ended_.notify_all();
  if (own) leave();
  while (!tasks_.empty()) {
    // Without a single worker (the system gives none) the tasks run here.
    if (workers_.empty() && !startWorker()) {
      runOne(lock);
      if (isForked()) return;
      lock.lock();
    } else {
      help(lock);
    }
  }
  ended_.wait(lock, [this] { return workers_.empty(); });
  Threads threads = std::move(finished_);
  std::thread watcher = std::move(watcher_);
  if (!own) lock.unlock();
  // One of them may be waiting for the calling thread's end if that is a worker itself.
  const auto letGo = [own](std::thread& thread) { own ? thread.detach() : thread.join(); };
  if (watcher.joinable()) letGo(watcher);
  std::for_each(threads.begin(), threads.end(), letGo);
}

void WorkerPool::leaveIfWorker() {
  if (home != this || isForked()) return;
  const std::lock_guard lock(mutex_);
  leave();
}

std::size_t WorkerPool::workers() const {
  const std::lock_guard lock(mutex_);
  return workers_.size();
}

/// Makes what is missing of the usual threads. May leave the lock free.
void WorkerPool::seeToThreads(Lock& lock) {
  if (workers_.size() < usual_) startWorker();
  if (!watcher_.joinable()) startWatching();
  afterRefusal(lock);
}

bool WorkerPool::startWorker() {
  Threads made;
  try {
    const auto place = made.emplace(made.end());
    *place = threadWithoutSignals([self = shared_from_this(), place] { self->work(place); });
  } catch (const std::exception&) {
    noteRefusal();
    return false;
  }
  refused_ = false;
  workers_.splice(workers_.end(), made);
  return true;
}

void WorkerPool::startWatching() {
  try {
    watcher_ = threadWithoutSignals([self = shared_from_this()] { self->watch(); });
  } catch (const std::exception&) {
    noteRefusal();
  }
}

void WorkerPool::noteRefusal() {
  if (!std::exchange(refused_, true)) unsaid_ = true;
}

/// Says that threads are missing, and finds somebody who tries again if the watcher is missing too. Then the
/// lock is free afterwards, as a sink of the log may use the queue.
void WorkerPool::afterRefusal(Lock& lock) {
  if (!refused_ && !unsaid_) return;
  bool say = std::exchange(unsaid_, false);
  const bool ask = refused_ && !watcher_.joinable() && !closing_ && !std::exchange(asked_, true);
  if (!say && !ask) return;
  const auto self = shared_from_this();
  lock.unlock();
  try {
    if (say) log(LogLevel::Warning, "BackgroundQueue: the system gives no more threads.");
    say = false;
    if (ask) {
      MainQueue::postAfter(kPause, [weak = weak_from_this()] {
        if (const auto pool = weak.lock()) pool->tryAgain();
      });
    }
  } catch (const std::exception&) {
    // No memory for it either: the task stays queued, and the next one says and asks.
    const std::lock_guard relock(mutex_);
    unsaid_ = unsaid_ || say;
    asked_ = asked_ && !ask;
  }
}

void WorkerPool::tryAgain() {
  if (isForked()) return;
  Lock lock(mutex_);
  asked_ = false;
  if (!closing_ && tasks_.size() > idle_ && incomplete()) seeToThreads(lock);
}

/// Adds a worker if tasks wait and none is taken for a while.
void WorkerPool::help(Lock& lock) {
  const std::uint64_t before = taken_;
  ended_.wait_for(lock, refused_ ? kPause : kPatience,
                  [this, was = closing_] { return tasks_.empty() || closing_ != was; });
  if (before == taken_ && starved()) startWorker();
  afterRefusal(lock);
  if (!lock.owns_lock()) lock.lock();
}

/// The calling worker is going to do something else for good: it has its place taken by another one.
void WorkerPool::leave() {
  home = nullptr;
  const auto isSelf = [](const std::thread& thread) { return thread.get_id() == std::this_thread::get_id(); };
  const auto self = std::find_if(workers_.begin(), workers_.end(), isSelf);
  if (self == workers_.end()) return;  // its body has ended, only its thread-local objects die
  self->detach();
  workers_.erase(self);
  ended_.notify_all();
}

/// Leaves the lock free: the task may have forked, closed the pool or both.
void WorkerPool::runOne(Lock& lock) {
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  ++taken_;
  lock.unlock();
  task();
  task = nullptr;
}

void WorkerPool::joinFinished(Lock& lock) {
  Threads finished;
  finished.swap(finished_);
  lock.unlock();
  for (std::thread& thread : finished) thread.join();
  lock.lock();
}

void WorkerPool::work(Threads::iterator self) {
  RunLoop::declareWorkerThread();
  home = this;
  Lock lock(mutex_);
  for (;;) {
    while (!tasks_.empty()) {
      runOne(lock);
      // The child has no other thread than this one, and nothing is left for it to do.
      if (isForked()) std::exit(EXIT_SUCCESS);
      if (home != this) return;
      lock.lock();
    }
    if (closing_ || workers_.size() > usual_) break;
    ++idle_;
    work_.wait(lock, [this] { return !tasks_.empty() || closing_; });
    --idle_;
  }
  finished_.splice(finished_.end(), workers_, self);
  watch_.notify_one();
  ended_.notify_all();
}

/// Adds a worker whenever tasks wait and none is taken; joins those that have ended. Sleeps otherwise. A pool
/// that closes is watched by the thread that closes it.
void WorkerPool::watch() {
  RunLoop::declareWorkerThread();
  Lock lock(mutex_);
  while (!closing_) {
    joinFinished(lock);
    if (starved()) {
      help(lock);
    } else {
      watch_.wait(lock, [this] { return starved() || closing_ || !finished_.empty(); });
    }
  }
}

}  // namespace vantrel::loop::detail
