#include "vantrel/loop/detail/WorkerPool.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <exception>
#include <iterator>
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

void WorkerPool::post(std::span<Task> tasks) {
  Refusal refusal;
  {
    const MutexLock lock(mutex_);
    if (closing_) return;
    const std::size_t free = idle_ - std::min(idle_, tasks_.size());  // of those that have a notice already
    tasks_.insert(tasks_.end(), std::make_move_iterator(tasks.begin()), std::make_move_iterator(tasks.end()));
    for (std::size_t notices = std::min(free, tasks.size()); notices > 0; --notices) work_.notifyOne();
    if (idle_ >= tasks_.size()) return;
    if (starved()) watch_.notifyOne();
    if (incomplete()) refusal = seeToThreads(tasks.size());
  }
  tell(refusal);
}

void WorkerPool::close() {
  if (isForked()) return;
  const bool own = home == this;
  MutexLock lock(mutex_);
  closing_ = true;
  work_.notifyAll();
  watch_.notifyAll();
  ended_.notifyAll();
  if (own) leave();
  while (!tasks_.empty()) {
    // Without a single worker (the system gives none) the tasks run here.
    if (workers_.empty() && !startWorker()) {
      Task task = takeTask();
      lock.unlock();
      task();
      task = nullptr;
      if (isForked()) return;
    } else {
      const Refusal refusal = help();
      lock.unlock();
      tell(refusal);
    }
    lock.lock();
  }
  while (!workers_.empty()) ended_.wait(mutex_);
  Threads threads = std::move(finished_);
  std::thread watcher = std::move(watcher_);
  lock.unlock();
  // One of them may be waiting for the calling thread's end if that is a worker itself.
  const auto letGo = [own](std::thread& thread) { own ? thread.detach() : thread.join(); };
  if (watcher.joinable()) letGo(watcher);
  std::for_each(threads.begin(), threads.end(), letGo);
}

void WorkerPool::leaveIfWorker() {
  if (home != this || isForked()) return;
  const MutexLock lock(mutex_);
  leave();
}

std::size_t WorkerPool::workers() const {
  const MutexLock lock(mutex_);
  return workers_.size();
}

/// Makes what is missing of the usual threads, for so many tasks.
WorkerPool::Refusal WorkerPool::seeToThreads(std::size_t tasks) {
  for (; tasks > 0 && workers_.size() < usual_ && startWorker(); --tasks) {
  }
  if (!watcher_.joinable()) startWatching();
  return takeRefusal();
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

/// Somebody else has to try again if the watcher is missing too.
WorkerPool::Refusal WorkerPool::takeRefusal() {
  const bool asks = refused_ && !watcher_.joinable() && !closing_ && !std::exchange(asked_, true);
  return {.say = std::exchange(unsaid_, false), .ask = asks};
}

void WorkerPool::tell(Refusal refusal) {
  if (!refusal.say && !refusal.ask) return;
  const auto self = shared_from_this();
  try {
    if (refusal.say) log(LogLevel::Warning, "BackgroundQueue: the system gives no more threads.");
    refusal.say = false;
    if (!refusal.ask) return;
    MainQueue::postAfter(kPause, [weak = weak_from_this()] {
      if (const auto pool = weak.lock()) pool->tryAgain();
    });
  } catch (const std::exception&) {
    // No memory for it either: the task stays queued, and the next one says and asks.
    const MutexLock lock(mutex_);
    unsaid_ = unsaid_ || refusal.say;
    asked_ = asked_ && !refusal.ask;
  }
}

void WorkerPool::tryAgain() {
  if (isForked()) return;
  Refusal refusal;
  {
    const MutexLock lock(mutex_);
    asked_ = false;
    if (!closing_ && tasks_.size() > idle_ && incomplete()) refusal = seeToThreads(1);
  }
  tell(refusal);
}

/// Adds a worker if tasks wait and none is taken for a while.
WorkerPool::Refusal WorkerPool::help() {
  const std::uint64_t before = taken_;
  const bool was = closing_;
  const auto end = std::chrono::steady_clock::now() + (refused_ ? kPause : kPatience);
  while (!tasks_.empty() && closing_ == was && ended_.waitUntil(mutex_, end)) {
  }
  if (before == taken_ && starved()) startWorker();
  return takeRefusal();
}

/// The calling worker is going to do something else for good: it has its place taken by another one.
void WorkerPool::leave() {
  home = nullptr;
  const auto isSelf = [](const std::thread& thread) { return thread.get_id() == std::this_thread::get_id(); };
  const auto self = std::find_if(workers_.begin(), workers_.end(), isSelf);
  if (self == workers_.end()) return;  // its body has ended, only its thread-local objects die
  self->detach();
  workers_.erase(self);
  ended_.notifyAll();
}

WorkerPool::Task WorkerPool::takeTask() {
  Task task = std::move(tasks_.front());
  tasks_.pop_front();
  ++taken_;
  return task;
}

void WorkerPool::work(Threads::iterator self) {
  RunLoop::declareWorkerThread();
  home = this;
  MutexLock lock(mutex_);
  for (;;) {
    while (!tasks_.empty()) {
      Task task = takeTask();
      lock.unlock();
      task();
      task = nullptr;
      // The child has no other thread than this one, and nothing is left for it to do.
      if (isForked()) std::exit(EXIT_SUCCESS);
      // It has closed the pool.
      if (home != this) return;
      lock.lock();
    }
    if (closing_ || workers_.size() > usual_) break;
    ++idle_;
    while (tasks_.empty() && !closing_) work_.wait(mutex_);
    --idle_;
  }
  finished_.splice(finished_.end(), workers_, self);
  watch_.notifyOne();
  ended_.notifyAll();
}

/// Adds a worker whenever tasks wait and none is taken; joins those that have ended. Sleeps otherwise. A pool
/// that closes is watched by the thread that closes it.
void WorkerPool::watch() {
  RunLoop::declareWorkerThread();
  MutexLock lock(mutex_);
  while (!closing_) {
    if (!finished_.empty()) {
      Threads finished;
      finished.swap(finished_);
      lock.unlock();
      for (std::thread& thread : finished) thread.join();
      lock.lock();
    } else if (starved()) {
      const Refusal refusal = help();
      lock.unlock();
      tell(refusal);
      lock.lock();
    } else {
      watch_.wait(mutex_);
    }
  }
}

}  // namespace vantrel::loop::detail
