#include "vantrel/platform/loop/RunLoop.h"

#include <algorithm>
#include <atomic>
#include <map>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <vector>

#include "vantrel/platform/loop/MainLoop.h"
#include "vantrel/platform/loop/Waiter.h"

namespace vantrel {
namespace {

constexpr Instant kNever{Duration::max()};

/// How often a sleeping loop looks at a clock that stands still.
constexpr Duration kManualClockGlance = std::chrono::milliseconds(10);

struct Watch {
  std::uint32_t generation = 0;
  std::shared_ptr<const std::function<void()>> ready;
};

std::uint64_t tokenOf(int descriptor, std::uint32_t generation) {
  return std::uint64_t{generation} << 32 | static_cast<std::uint32_t>(descriptor);
}

}  // namespace

class RunLoop::State {
 public:
  State(RunLoop* loop, const Clock* clock, std::thread::id thread)
      : handle_(loop, [](RunLoop*) {}), clock_(clock), thread_(thread) {}

  const Clock& clock() const { return clock_ ? *clock_ : Clock::current(); }

  void post(Task task) {
    const std::lock_guard lock(mutex_);
    if (closing_) return;
    posted_.push_back(std::move(task));
    wakeIfAsleep();
  }

  void stop() {
    const std::lock_guard lock(mutex_);
    stopAsked_ = true;
    wakeIfAsleep();
  }

  bool takeStop() {
    const std::lock_guard lock(mutex_);
    return std::exchange(stopAsked_, false);
  }

  TimerId at(Instant due, Task task) {
    const TimerId id{due, ++serial_};
    if (!closing_) timers_.emplace(id, std::move(task));
    return id;
  }

  void cancel(TimerId id) {
    // Taken out first: what the task captured may come back here when it is destroyed.
    auto cancelled = timers_.extract(id);
  }

  bool watch(int descriptor, Interest interest, std::function<void()> ready) {
    unwatch(descriptor);
    if (closing_) return false;
    const std::uint32_t generation = ++generation_;
    if (!waiter_.watch(descriptor, interest, tokenOf(descriptor, generation))) return false;
    watches_[descriptor] = {generation, std::make_shared<std::function<void()>>(std::move(ready))};
    return true;
  }

  void unwatch(int descriptor) {
    auto ended = watches_.extract(descriptor);
    if (!ended.empty()) waiter_.unwatch(descriptor);
  }

  /// One turn without the care for a host's poll.
  bool innerTurn() {
    const bool tasks = runTasks();
    const bool timers = runTimers();
    return runDescriptors() || tasks || timers;
  }

  bool turn() {
    const bool any = innerTurn();
    handOver();
    return any;
  }

  std::optional<Instant> nextDue() const {
    {
      const std::lock_guard lock(mutex_);
      if (tasksWait()) return clock().now();
    }
    if (timers_.empty() || timers_.begin()->first.first == kNever) return std::nullopt;
    return timers_.begin()->first.first;
  }

  void runUntil(std::optional<std::chrono::steady_clock::time_point> end) {
    while (!takeStop()) {
      innerTurn();
      if (end && std::chrono::steady_clock::now() >= *end) break;
      if (fallAsleep()) sleep(end);
    }
    handOver();
  }

  void close() {
    {
      const std::lock_guard lock(mutex_);
      closing_ = true;
    }
    handle_.reset();
    // What they captured may call the loop while it dies, so the containers are empty by then.
    auto posted = std::move(posted_);
    auto taken = std::move(taken_);
    auto timers = std::move(timers_);
    auto watches = std::move(watches_);
    posted_.clear();
    taken_.clear();
    timers_.clear();
    watches_.clear();
  }

  int descriptor() const { return waiter_.descriptor(); }
  std::uint64_t wakeUps() const { return wakeUps_.load(std::memory_order_relaxed); }
  bool isCurrent() const { return std::this_thread::get_id() == thread_.load(); }

  void claim() {
    std::thread::id none;
    thread_.compare_exchange_strong(none, std::this_thread::get_id());
  }

  std::weak_ptr<RunLoop> handle() const { return handle_; }

 private:
  bool tasksWait() const { return !posted_.empty() || head_ < taken_.size(); }

  /// A host may poll from here on: what waits by now must show, and what comes later must wake.
  void handOver() {
    const std::lock_guard lock(mutex_);
    asleep_ = true;
    if (tasksWait()) wake();
  }

  /// False when there is something to do; otherwise the next post or stop wakes the loop.
  bool fallAsleep() {
    const std::lock_guard lock(mutex_);
    if (tasksWait() || stopAsked_) return false;
    asleep_ = true;
    return true;
  }

  // A post writes to the event descriptor only when nobody is going to look at the queue anyway.
  void wakeIfAsleep() {
    if (asleep_) wake();
  }

  void wake() {
    asleep_ = false;
    if (std::exchange(woken_, true)) return;
    waiter_.wake();
  }

  /// Moves what was posted behind what an outer turn has taken and not run yet.
  void takePosted() {
    const std::lock_guard lock(mutex_);
    asleep_ = false;
    if (std::exchange(woken_, false) && !wakeTaken_) waiter_.clearWake();
    wakeTaken_ = false;
    if (head_ == taken_.size()) {
      taken_.clear();
      head_ = 0;
      taken_.swap(posted_);
    } else {
      std::move(posted_.begin(), posted_.end(), std::back_inserter(taken_));
      posted_.clear();
    }
  }

  bool runTasks() {
    takePosted();
    // Counted over the loop's life: a nested turn runs what is left of this one, then its own.
    const std::uint64_t last = started_ + (taken_.size() - head_);
    const bool any = started_ < last;
    while (started_ < last) {
      ++started_;
      const Task task = std::move(taken_[head_++]);
      task();
    }
    return any;
  }

  bool runTimers() {
    if (timers_.empty()) return false;
    const Instant now = clock().now();
    const std::uint64_t lastSerial = serial_;
    bool any = false;
    auto next = timers_.begin();
    while (next != timers_.end() && next->first.first <= now && next->first.first != kNever) {
      if (next->first.second > lastSerial) {
        ++next;
        continue;
      }
      const TimerId id = next->first;
      {
        const Task task = std::move(timers_.extract(next).mapped());
        task();
      }
      any = true;
      // They fire in order, so whatever is before was started by the callbacks and waits.
      next = timers_.upper_bound(id);
    }
    return any;
  }

  bool runDescriptors() {
    if (watches_.empty()) return false;
    bool any = false;
    for (const std::uint64_t token : waiter_.ready(watches_.size())) {
      const auto found = watches_.find(static_cast<int>(token & 0xffffffffU));
      if (found == watches_.end() || found->second.generation != token >> 32) continue;
      const auto ready = found->second.ready;
      (*ready)();
      any = true;
    }
    return any;
  }

  void sleep(std::optional<std::chrono::steady_clock::time_point> end) {
    std::optional<Duration> atMost;
    if (const auto due = nextDue()) {
      atMost = clock().standsStill() ? kManualClockGlance : *due - clock().now();
    }
    if (end) {
      const Duration left = *end - std::chrono::steady_clock::now();
      atMost = atMost ? std::min(*atMost, left) : left;
    }
    wakeTaken_ = waiter_.wait(atMost);
    wakeUps_.fetch_add(1, std::memory_order_relaxed);
  }

  std::shared_ptr<RunLoop> handle_;
  const Clock* const clock_;
  std::atomic<std::thread::id> thread_;  ///< none: the first to claim it
  platform::detail::Waiter waiter_;
  std::atomic<std::uint64_t> wakeUps_{0};

  mutable std::mutex mutex_;
  // Under the mutex.
  std::vector<Task> posted_;
  bool asleep_ = true;  ///< or in the hands of a host that polls
  bool woken_ = false;  ///< the event descriptor is readable
  bool stopAsked_ = false;
  bool closing_ = false;

  // The loop's own thread only.
  std::vector<Task> taken_;
  std::size_t head_ = 0;
  std::uint64_t started_ = 0;
  bool wakeTaken_ = false;  ///< a sleep has taken the wake already
  std::map<TimerId, Task> timers_;
  std::uint64_t serial_ = 0;
  std::unordered_map<int, Watch> watches_;
  std::uint32_t generation_ = 0;
};

namespace platform::detail {
namespace {
constinit thread_local bool isWorker = false;
}

RunLoop& mainLoopForPosting() {
  // Never destroyed: other threads may post while the process exits.
  static RunLoop& loop = *new RunLoop(nullptr, std::thread::id());
  return loop;
}

void markWorkerThread() { isWorker = true; }

}  // namespace platform::detail

RunLoop::RunLoop(const Clock* clock) : RunLoop(clock, std::this_thread::get_id()) {}

RunLoop::RunLoop(const Clock* clock, std::thread::id thread)
    : state_(std::make_unique<State>(this, clock, thread)) {}

RunLoop::~RunLoop() { state_->close(); }

RunLoop& RunLoop::main() {
  RunLoop& loop = platform::detail::mainLoopForPosting();
  loop.state_->claim();
  return loop;
}

RunLoop& RunLoop::current() {
  RunLoop& mainLoop = platform::detail::isWorker ? platform::detail::mainLoopForPosting() : main();
  if (mainLoop.isCurrent()) return mainLoop;
  thread_local RunLoop loop;
  return loop;
}

bool RunLoop::isCurrent() const { return state_->isCurrent(); }

void RunLoop::post(Task task) {
  if (task) state_->post(std::move(task));
}

RunLoop::TimerId RunLoop::at(Instant due, Task task) {
  return task ? state_->at(due, std::move(task)) : TimerId{};
}

void RunLoop::cancel(TimerId id) { state_->cancel(id); }

bool RunLoop::watch(int descriptor, Interest interest, std::function<void()> ready) {
  if (ready) return state_->watch(descriptor, interest, std::move(ready));
  state_->unwatch(descriptor);
  return false;
}

void RunLoop::unwatch(int descriptor) { state_->unwatch(descriptor); }

bool RunLoop::turn() { return state_->turn(); }

std::optional<Instant> RunLoop::nextDue() const { return state_->nextDue(); }

int RunLoop::pollDescriptor() const { return state_->descriptor(); }

void RunLoop::run() { state_->runUntil(std::nullopt); }

void RunLoop::runFor(Duration duration) {
  const Instant end = Instant{std::chrono::steady_clock::now().time_since_epoch()} + duration;
  state_->runUntil(std::chrono::steady_clock::time_point(end.sinceStart));
}

void RunLoop::stop() { state_->stop(); }

std::uint64_t RunLoop::wakeUps() const { return state_->wakeUps(); }

const Clock& RunLoop::clock() const { return state_->clock(); }

std::weak_ptr<RunLoop> RunLoop::handle() const { return state_->handle(); }

}  // namespace vantrel
