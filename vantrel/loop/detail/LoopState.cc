#include "vantrel/loop/detail/LoopState.h"

#include <algorithm>
#include <iterator>
#include <new>
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

void LoopState::postPrepared(std::list<Task>& one) noexcept {
  const MutexLock lock(mutex_);
  if (closing_ || one.empty()) return;
  try {
    posted_.push_back(std::move(one.front()));
  } catch (const std::bad_alloc&) {
    prepared_.splice(prepared_.end(), one);
  }
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

void LoopState::postAt(Instant due, Task&& task) {
  Timers made;
  made.emplace(TimerId{due, 0}, Due{std::move(task), nullptr});
  post([this, due, node = std::make_shared<TimerNode>(made.extract(made.begin()))] {
    start(due, std::move(*node));
  });
}

LoopState::TimerId LoopState::start(Instant due, Due&& what) {
  if (spareNodes_.empty()) {
    const TimerId id{due, ++serial_};
    if (!closing_) timers_.emplace(id, std::move(what));
    return id;
  }
  TimerNode node = std::move(spareNodes_.back());
  spareNodes_.pop_back();
  node.mapped() = std::move(what);
  return start(due, std::move(node));
}

LoopState::TimerId LoopState::start(Instant due, TimerNode node) {
  const TimerId id{due, ++serial_};
  node.key() = id;
  if (!closing_) timers_.insert(std::move(node));
  return id;
}

/// Keeps the node: who starts a timer right after one has ended needs no memory.
LoopState::Due LoopState::takeOut(TimerNode node) {
  Due what = std::exchange(node.mapped(), {});
  if (spareNodes_.size() < spareNodes_.capacity()) spareNodes_.push_back(std::move(node));
  return what;
}

void LoopState::cancel(TimerId id) {
  TimerNode cancelled = timers_.extract(id);
  // Taken out first: what the task captured may come back here when it is destroyed.
  if (!cancelled.empty()) takeOut(std::move(cancelled));
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

/// Moves what was posted behind what an outer turn has taken and not run yet. Gives what there was no memory
/// for, one a turn: the next turn comes at once while there is more.
std::list<LoopState::Task> LoopState::takePosted() {
  std::list<Task> prepared;
  const MutexLock lock(mutex_);
  asleep_ = false;
  if (std::exchange(woken_, false) && !wakeTaken_) waiter_.clearWake();
  wakeTaken_ = false;
  if (!prepared_.empty()) prepared.splice(prepared.end(), prepared_, prepared_.begin());
  if (head_ == taken_.size()) {
    taken_.clear();
    head_ = 0;
    taken_.swap(posted_);
    return prepared;
  }
  try {
    // Allocates before it moves the first one: where memory runs out they wait for the next turn.
    taken_.insert(taken_.end(), std::make_move_iterator(posted_.begin()),
                  std::make_move_iterator(posted_.end()));
    giveBackMemory(posted_);
  } catch (const std::bad_alloc&) {
  }
  return prepared;
}

bool LoopState::runTasks() {
  std::list<Task> prepared = takePosted();
  // Counted over the loop's life: a nested turn runs what is left of this one, then its own.
  const std::uint64_t last = started_ + (taken_.size() - head_);
  const bool any = !prepared.empty() || started_ < last;
  for (const Task& task : std::exchange(prepared, {})) task();
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
      const Due due = takeOut(timers_.extract(next));
      due();
    }
    any = true;
    // They fire in order, so whatever is before was started by the callbacks and waits.
    next = timers_.upper_bound(id);
  }
  return any;
}

void LoopState::close() {
  std::vector<Task> posted;
  std::list<Task> prepared;
  {
    const MutexLock lock(mutex_);
    closing_ = true;
    posted.swap(posted_);
    prepared.swap(prepared_);
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
