#include "vantrel/loop/detail/LoopState.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vantrel::loop::detail {
namespace {

constexpr Instant kNever{Duration::max()};

/// The memory of more tasks than these at once is given back when they have run.
constexpr std::size_t kTasksKept = std::size_t{128} << 10;

void giveBackMemory(std::vector<RunLoop::Task>& tasks) {
  tasks.clear();
  if (tasks.capacity() > kTasksKept) std::vector<RunLoop::Task>().swap(tasks);
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

void LoopState::post(Task&& task) {
  const MutexLock lock(mutex_);
  if (closing_) return;
  posted_.push_back(std::move(task));
  wakeIfAsleep();
}

void LoopState::stop() {
  const MutexLock lock(mutex_);
  stopAsked_ = true;
  wakeIfAsleep();
}

bool LoopState::takeStop() {
  const MutexLock lock(mutex_);
  return std::exchange(stopAsked_, false);
}

LoopState::TimerId LoopState::at(Instant due, Task&& task) {
  const TimerId id{due, ++serial_};
  if (!closing_) timers_.emplace(id, std::move(task));
  return id;
}

void LoopState::cancel(TimerId id) {
  // Taken out first: what the task captured may come back here when it is destroyed.
  auto cancelled = timers_.extract(id);
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
    const MutexLock lock(mutex_);
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
    if (fallAsleep()) sleep(longestSleep(end));
  }
}

void LoopState::handOver() {
  const MutexLock lock(mutex_);
  asleep_ = true;
  // A run that was stopped right out of a sleep, which has taken the wake: no turn has seen to that.
  if (std::exchange(wakeTaken_, false)) woken_ = false;
  if (tasksWait()) wake();
}

/// False when there is something to do; otherwise the next post or stop wakes the loop.
bool LoopState::fallAsleep() {
  const MutexLock lock(mutex_);
  if (tasksWait() || stopAsked_) return false;
  asleep_ = true;
  return true;
}

// A post wakes only when nobody is going to look at the queue anyway.
void LoopState::wakeIfAsleep() {
  if (asleep_) wake();
}

void LoopState::wake() {
  asleep_ = false;
  if (std::exchange(woken_, true)) return;
  if (waiter_.isOpen() && !waiter_.wake()) waiter_.forget();
  if (!waiter_.isOpen()) wokenWithoutDescriptors_.notifyOne();
}

/// Moves what was posted behind what an outer turn has taken and not run yet.
void LoopState::takePosted() {
  const MutexLock lock(mutex_);
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

void LoopState::close() {
  std::vector<Task> posted;
  {
    const MutexLock lock(mutex_);
    closing_ = true;
    posted.swap(posted_);
  }
  handle_.reset();
  // What they captured may call the loop while it dies, so the containers are empty by then.
  auto taken = std::move(taken_);
  auto timers = std::move(timers_);
  auto watches = std::move(watches_);
  taken_.clear();
  timers_.clear();
  watches_.clear();
}

}  // namespace vantrel::loop::detail
