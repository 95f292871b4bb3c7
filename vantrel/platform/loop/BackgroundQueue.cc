#include "vantrel/platform/loop/BackgroundQueue.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <deque>
#include <list>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

#include "vantrel/platform/Log.h"
#include "vantrel/platform/loop/MainLoop.h"

namespace vantrel {
namespace {

/// How long tasks wait for a worker before another one is started.
constexpr std::chrono::milliseconds kPatience{5};

}  // namespace

class BackgroundQueue::State {
 public:
  explicit State(std::size_t limit)
      : limit_(std::max<std::size_t>(limit, 1)),
        usual_(std::min<std::size_t>(limit_, std::max(1U, std::thread::hardware_concurrency()))) {}

  void post(std::function<void()> task) {
    std::unique_lock lock(mutex_);
    if (closed_) {
      // The task may be destroyed by somebody who posts again.
      lock.unlock();
      return;
    }
    tasks_.push_back(std::move(task));
    if (idle_ >= tasks_.size()) return work_.notify_one();
    if (workers_.size() < usual_) startWorker();
    if (tasks_.size() > idle_) startWatching();
  }

  /// Runs what is queued, joins, and refuses what comes later.
  void close() {
    std::thread watcher;
    {
      const std::lock_guard lock(mutex_);
      closing_ = true;
      watcher = std::move(watcher_);
    }
    work_.notify_all();
    watch_.notify_all();
    // The watcher goes on helping blocked workers until the queue is empty.
    if (watcher.joinable()) watcher.join();
    std::unique_lock lock(mutex_);
    // Without a single worker (the system gave none) the tasks run here.
    while (workers_.empty() && !tasks_.empty()) runOne(lock);
    work_.notify_all();
    ended_.wait(lock, [this] { return workers_.empty() && tasks_.empty(); });
    closed_ = true;
    joinFinished(lock);
  }

  std::size_t workers() const {
    const std::lock_guard lock(mutex_);
    return workers_.size();
  }

 private:
  using Threads = std::list<std::thread>;

  // All of these are called with the mutex held.

  void startWorker() {
    const auto place = workers_.emplace(workers_.end());
    try {
      *place = std::thread([this, place] { work(place); });
    } catch (const std::system_error&) {
      workers_.erase(place);
      platform::log("BackgroundQueue: the system gives no more threads.");
    }
  }

  void startWatching() {
    if (watcher_.joinable() || closing_) return watch_.notify_one();
    try {
      watcher_ = std::thread([this] { watch(); });
    } catch (const std::system_error&) {
      platform::log("BackgroundQueue: the system gives no more threads.");
    }
  }

  void joinFinished(std::unique_lock<std::mutex>& lock) {
    Threads finished;
    finished.swap(finished_);
    lock.unlock();
    for (std::thread& thread : finished) thread.join();
    lock.lock();
  }

  // The bodies of the threads.

  void work(Threads::iterator self) {
    platform::detail::markWorkerThread();
    std::unique_lock lock(mutex_);
    for (;;) {
      while (!tasks_.empty()) runOne(lock);
      if (closing_ || workers_.size() > usual_) break;
      ++idle_;
      work_.wait(lock, [this] { return !tasks_.empty() || closing_; });
      --idle_;
    }
    finished_.splice(finished_.end(), workers_, self);
    watch_.notify_one();
    ended_.notify_all();
  }

  void runOne(std::unique_lock<std::mutex>& lock) {
    std::function<void()> task = std::move(tasks_.front());
    tasks_.pop_front();
    ++taken_;
    lock.unlock();
    task();
    task = nullptr;
    lock.lock();
  }

  bool starved() const { return tasks_.size() > idle_ && workers_.size() < limit_; }

  /// Adds a worker whenever tasks wait and none is taken; joins those that have ended. Sleeps otherwise.
  void watch() {
    std::unique_lock lock(mutex_);
    while (!(closing_ && tasks_.empty())) {
      joinFinished(lock);
      if (!starved()) {
        watch_.wait(lock, [this] { return starved() || closing_ || !finished_.empty(); });
        if (!starved() && closing_ && !tasks_.empty()) ended_.wait_for(lock, kPatience);
        continue;
      }
      const std::uint64_t before = taken_;
      lock.unlock();
      std::this_thread::sleep_for(kPatience);
      lock.lock();
      if (before == taken_ && starved()) startWorker();
    }
  }

  const std::size_t limit_;
  const std::size_t usual_;
  mutable std::mutex mutex_;
  std::condition_variable work_;   ///< a task is queued, or the queue closes
  std::condition_variable watch_;  ///< tasks may be waiting, a worker has ended, or the queue closes
  std::condition_variable ended_;  ///< a worker has ended
  std::deque<std::function<void()>> tasks_;
  Threads workers_;
  Threads finished_;  ///< ended, not joined yet
  std::thread watcher_;
  std::size_t idle_ = 0;
  std::uint64_t taken_ = 0;
  bool closing_ = false;
  bool closed_ = false;
};

BackgroundQueue::BackgroundQueue(std::size_t limit) : state_(std::make_unique<State>(limit)) {}

BackgroundQueue::~BackgroundQueue() { state_->close(); }

BackgroundQueue& BackgroundQueue::shared() {
  // Never destroyed, only closed: tasks and other threads may post while the process exits.
  static BackgroundQueue& queue = *[] {
    auto* made = new BackgroundQueue;
    std::atexit([] { shared().state_->close(); });
    return made;
  }();
  return queue;
}

void BackgroundQueue::post(std::function<void()> task) {
  if (task) state_->post(std::move(task));
}

std::size_t BackgroundQueue::workers() const { return state_->workers(); }

}  // namespace vantrel
