#include "vantrel/platform/loop/LoopState.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vantrel::platform::detail {
namespace {

constexpr Instant kNever{Duration::max()};

/// How often a sleeping loop looks at a clock that stands still.
constexpr Duration kManualClockGlance = std::chrono::milliseconds(10);

/// The memory of more tasks than these at once is given back when they have run.
constexpr std::size_t kTasksKept = 128 * 1024;

void giveBackMemory(std::vector<RunLoop::Task>& tasks) {
  tasks.clear();
  if (tasks.capacity() > kTasksKept) std::vector<RunLoop::Task>().swap(tasks);
}

std::uint64_t tokenOf(int descriptor, std::uint32_t generation) {
  return std::uint64_t{generation} << 32 | static_cast<std::uint32_t>(descriptor);
}

}  // namespace

/// A host may poll from the end of this scope on, however it ends: what waits by then must show, and what
/// comes later must wake.
class LoopState::HandOver {
 public:
  explicit HandOver(LoopState& loop) : loop_(loop) {}
  ~HandOver() { loop_.handOver(); }
  HandOver(const HandOver&) = delete;
  HandOver& operator=(const HandOver&) = delete;

 private:
  LoopState& loop_;
};

LoopState::LoopState(RunLoop* loop, const Clock* clock, std::thread::id thread)
    : handle_(loop, [](RunLoop*) {}), clock_(clock), thread_(thread) {}

void LoopState::claim() {
  std::thread::id none;
  thread_.compare_exchange_strong(none, std::this_thread::get_id());
}

void LoopState::post(Task task) {
  const std::lock_guard lock(mutex_);
  if (closing_) return;
  posted_.push_back(std::move(task));
  wakeIfAsleep();
}

void LoopState::stop() {
  const std::lock_guard lock(mutex_);
  stopAsked_ = true;
  wakeIfAsleep();
}

bool LoopState::takeStop() {
  const std::lock_guard lock(mutex_);
  return std::exchange(stopAsked_, false);
}

LoopState::TimerId LoopState::at(Instant due, Task task) {
  const TimerId id{due, ++serial_};
  if (!closing_) timers_.emplace(id, std::move(task));
  return id;
}

void LoopState::cancel(TimerId id) {
  // Taken out first: what the task captured may come back here when it is destroyed.
  auto cancelled = timers_.extract(id);
}

bool LoopState::watch(int descriptor, RunLoop::Interest interest, std::function<void()> ready) {
  unwatch(descriptor);
  if (closing_) return false;
  const std::uint32_t generation = ++generation_;
  if (!waiter_.watch(descriptor, interest, tokenOf(descriptor, generation))) return false;
  watches_[descriptor] = {generation, std::make_shared<std::function<void()>>(std::move(ready))};
  return true;
}

void LoopState::unwatch(int descriptor) {
  auto ended = watches_.extract(descriptor);
  if (!ended.empty()) waiter_.unwatch(descriptor);
}

/// One turn without the care for a host's poll.
bool LoopState::innerTurn() {
  const std::uint64_t lastSerial = serial_;
  const bool tasks = runTasks();
  const bool timers = runTimers(lastSerial);
  return runDescriptors() || tasks || timers;
}

bool LoopState::turn() {
  const HandOver atTheEnd(*this);
  return innerTurn();
}

std::optional<Instant> LoopState::nextDue() const {
  {
    const std::lock_guard lock(mutex_);
    if (tasksWait()) return clock().now();
  }
  if (timers_.empty() || timers_.begin()->first.first == kNever) return std::nullopt;
  return timers_.begin()->first.first;
}

void LoopState::runUntil(std::optional<std::chrono::steady_clock::time_point> end) {
  const HandOver atTheEnd(*this);
  while (!takeStop()) {
    innerTurn();
    if (end && std::chrono::steady_clock::now() >= *end) break;
    if (fallAsleep()) sleep(end);
  }
}

void LoopState::handOver() {
  const std::lock_guard lock(mutex_);
  asleep_ = true;
  if (tasksWait()) wake();
}

/// False when there is something to do; otherwise the next post or stop wakes the loop.
bool LoopState::fallAsleep() {
  const std::lock_guard lock(mutex_);
  if (tasksWait() || stopAsked_) return false;
  asleep_ = true;
  return true;
}

// A post writes to the event descriptor only when nobody is going to look at the queue anyway.
void LoopState::wakeIfAsleep() {
  if (asleep_) wake();
}

void LoopState::wake() {
  asleep_ = false;
  if (std::exchange(woken_, true)) return;
  waiter_.wake();
}

/// Moves what was posted behind what an outer turn has taken and not run yet.
void LoopState::takePosted() {
  const std::lock_guard lock(mutex_);
  asleep_ = false;
  if (std::exchange(woken_, false) && !wakeTaken_) waiter_.clearWake();
  wakeTaken_ = false;
  if (head_ == taken_.size()) {
    taken_.clear();
    head_ = 0;
    taken_.swap(posted_);
  } else {
    // Allocates before it moves the first one, so that none is lost where memory runs out.
    taken_.insert(taken_.end(), std::make_move_iterator(posted_.begin()),
                  std::make_move_iterator(posted_.end()));
    giveBackMemory(posted_);
  }
}

bool LoopState::runTasks() {
  takePosted();
  // Counted over the loop's life: a nested turn runs what is left of this one, then its own.
  const std::uint64_t last = started_ + (taken_.size() - head_);
  const bool any = started_ < last;
  while (started_ < last) {
    ++started_;
    const Task task = std::move(taken_[head_++]);
    task();
  }
  if (head_ == taken_.size()) {
    giveBackMemory(taken_);
    head_ = 0;
  }
  return any;
}

/// Those started up to `lastSerial`.
bool LoopState::runTimers(std::uint64_t lastSerial) {
  if (timers_.empty()) return false;
  const Instant now = clock().now();
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

bool LoopState::runDescriptors() {
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

void LoopState::sleep(std::optional<std::chrono::steady_clock::time_point> end) {
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

void LoopState::close() {
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

}  // namespace vantrel::platform::detail
