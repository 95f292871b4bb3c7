#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <thread>
#include <unordered_map>
#include <utility>
#include <vector>

#include "vantrel/base/Mutex.h"
#include "vantrel/loop/RunLoop.h"
#include "vantrel/loop/detail/Waiter.h"

namespace vantrel::loop::detail {

/// What a repeating timer is to the loop.
class Repeating {
 public:
  virtual ~Repeating() = default;
  virtual void fire() = 0;
};

/// What is behind a run loop; see there. It works without descriptors as well, except for watches, and takes
/// some whenever it needs them and the system has some again.
///
/// Threads: `post`, `stop`, `wakeUps` and `isCurrent` from any, the rest on the loop's own.
class LoopState {
 public:
  using Task = RunLoop::Task;
  using TimerId = RunLoop::TimerId;

  /// Of the loop of `thread`; none: of the first to claim it.
  LoopState(RunLoop* loop, const Clock* clock, std::thread::id thread);
  ~LoopState();
  LoopState(const LoopState&) = delete;
  LoopState& operator=(const LoopState&) = delete;

  const Clock& clock() const { return clock_ ? *clock_ : Clock::current(); }
  static LoopState& of(RunLoop& loop) { return *loop.state_; }
  std::weak_ptr<RunLoop> handle() const { return handle_; }
  std::uint64_t wakeUps() const { return wakeUps_.load(std::memory_order_relaxed); }
  bool isCurrent() const { return std::this_thread::get_id() == thread_.load(); }
  void claim();

  void post(Task&& task);

  /// The same for a task in a list of one, which needs no memory; without any it may run before others.
  void postPrepared(std::list<Task>& one) noexcept;

  TimerId at(Instant due, Task&& task) { return start(due, {std::move(task), nullptr}); }

  /// The same for what starts itself again and again: in its own firing, and after it has been cancelled,
  /// that needs no memory.
  TimerId at(Instant due, std::shared_ptr<Repeating> repeating) {
    return start(due, {nullptr, std::move(repeating)});
  }

  /// The same from any thread. Memory is needed only here, not when the loop hears of it.
  void postAt(Instant due, Task&& task);

  void cancel(TimerId id);
  bool watch(int descriptor, RunLoop::Interest interest, std::function<void()> ready);
  void unwatch(int descriptor);

  bool turn();
  std::optional<Instant> nextDue() const;
  int descriptor();
  int pollTimeout() const;
  void runUntil(std::optional<std::chrono::steady_clock::time_point> end);
  void stop();

  /// Drops everything and takes nothing any more.
  void close();

  /// The thread that it belongs to is not in this process, a forked child. What it holds may be in the middle
  /// of a change and is never touched again.
  bool isOrphan() const { return isOrphan_; }

  void beforeFork() VANTREL_ACQUIRE(mutex_) { mutex_.lock(); }
  void afterForkInParent() VANTREL_RELEASE(mutex_) { mutex_.unlock(); }

  /// Null, or the main loop when its thread is not in the child: it needs a successor.
  RunLoop* afterForkInChild() VANTREL_RELEASE(mutex_);
  static void succeedOrphanOf(RunLoop& loop);

  /// Forgets descriptors whose numbers the system has given to `owner`.
  void loseDescriptorsTo(const LoopState& owner);

 private:
  /// Which file a descriptor means, so that a number that was closed and used again shows.
  struct File {
    bool operator==(const File&) const = default;
    dev_t device = 0;
    ino_t inode = 0;
  };
  struct Watch {
    std::uint64_t token = 0;  ///< new for every watch: no old report counts for a new one
    RunLoop::Interest interest{};
    File file;
    std::shared_ptr<const std::function<void()>> ready;
  };
  class HandOver;

  /// What a timer runs: one or the other.
  struct Due {
    Task task;
    std::shared_ptr<Repeating> repeating;

    void operator()() const { repeating ? repeating->fire() : task(); }
  };
  using Timers = std::map<TimerId, Due>;
  using TimerNode = Timers::node_type;

  static File fileOf(int descriptor);

  bool tasksWait() const VANTREL_REQUIRES(mutex_) {
    return !posted_.empty() || !prepared_.empty() || head_ < taken_.size();
  }
  TimerId start(Instant due, Due&& what);
  TimerId start(Instant due, TimerNode node);
  Due takeOut(TimerNode node);
  bool innerTurn();
  void handOver();
  bool fallAsleep();
  bool takeStop();
  void wakeIfAsleep() VANTREL_REQUIRES(mutex_);
  void wake() VANTREL_REQUIRES(mutex_);
  std::list<Task> takePosted();
  bool runTasks();
  bool runTimers(std::uint64_t lastSerial);
  bool runDescriptors();
  std::optional<Duration> longestSleep(std::optional<std::chrono::steady_clock::time_point> end) const;
  void sleep(std::optional<Duration> atMost);
  void sleepWithoutDescriptors(std::optional<Duration> atMost);
  bool haveDescriptors();
  bool haveIntactDescriptors();
  bool openDescriptors();
  void loseDescriptors();
  void watchAgain();

  std::shared_ptr<RunLoop> handle_;
  const Clock* const clock_;
  const bool isMain_;
  std::atomic<std::thread::id> thread_;  ///< none: the first to claim it
  std::atomic<std::uint64_t> wakeUps_{0};
  bool isOrphan_ = false;

  mutable Mutex mutex_;
  Condition wokenWithoutDescriptors_;
  std::vector<Task> posted_ VANTREL_GUARDED_BY(mutex_);
  std::list<Task> prepared_ VANTREL_GUARDED_BY(mutex_);  ///< that `posted_` had no memory for
  bool asleep_ VANTREL_GUARDED_BY(mutex_) = true;        ///< or in the hands of a host that polls
  bool woken_ VANTREL_GUARDED_BY(mutex_) = false;  ///< the waiter is to wake up, or would if it were open
  bool stopAsked_ VANTREL_GUARDED_BY(mutex_) = false;

  // Beyond the analysis: the waiter is opened, closed and woken with the mutex held, and waits without.
  // `closing_` is changed by the loop's own thread with it held, which may look at it without, others with.
  Waiter waiter_;
  bool closing_ = false;

  // The loop's own thread only.
  std::vector<Task> taken_;
  std::size_t head_ = 0;
  std::uint64_t started_ = 0;
  bool wakeTaken_ = false;  ///< a sleep has taken the wake already
  bool saidThatNoneAreLeft_ = false;
  Timers timers_;
  std::vector<TimerNode> spareNodes_;  ///< of timers that have ended, for those that start
  std::uint64_t serial_ = 0;
  std::unordered_map<int, Watch> watches_;
  std::uint32_t generation_ = 0;
};

}  // namespace vantrel::loop::detail
