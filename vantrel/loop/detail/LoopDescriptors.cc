// A loop's descriptors: how it watches them, sleeps with its own and without any, and comes by its own: at
// first, when something else has closed them, and in a forked child.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "vantrel/base/Log.h"
#include "vantrel/loop/detail/LoopRegistry.h"
#include "vantrel/loop/detail/LoopState.h"

namespace vantrel::loop::detail {
namespace {

using namespace std::chrono_literals;

/// How often a sleeping loop looks at a clock that stands still.
constexpr Duration kManualClockGlance = 10ms;

/// How often a sleeping loop that has no descriptors looks whether the system has some again.
constexpr Duration kDescriptorGlance = 1s;

/// How long a loop that has lost its descriptors waits before it uses new ones, so that it cannot spin.
constexpr Duration kAfterLoss = 10ms;

/// Two of them are enough for a timer that repeats; more save allocations.
constexpr std::size_t kSpareTimers = 16;

/// False where memory runs out: then nobody hears of it.
bool say(std::string_view before, int reason, std::string_view after) try {
  std::string line(before);
  if (reason != 0) line += std::generic_category().message(reason);
  log(LogLevel::Warning, line.append(after));
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace

LoopState::LoopState(RunLoop* loop, const Clock* clock, std::thread::id thread)
    : handle_(loop, [](RunLoop*) {}), clock_(clock), isMain_(thread == std::thread::id()), thread_(thread) {
  spareNodes_.reserve(kSpareTimers);
  loops::add(*this);
  // Not said when it fails: who hears of it may ask for this loop. It is when the descriptors are needed.
  openDescriptors();
}

LoopState::~LoopState() {
  // Before its numbers are free for others.
  loops::remove(*this);
}

void LoopState::claim() {
  std::thread::id none;
  thread_.compare_exchange_strong(none, std::this_thread::get_id());
}

bool LoopState::watch(int descriptor, RunLoop::Interest interest, std::function<void()> ready) {
  if (closing_ || !haveIntactDescriptors()) {
    unwatch(descriptor);
    return false;
  }
  // All memory first: without it an earlier watch stays as it is.
  std::shared_ptr<const std::function<void()>> ended =
      std::make_shared<const std::function<void()>>(std::move(ready));
  const auto [place, isNew] = watches_.try_emplace(descriptor);
  if (!isNew) waiter_.unwatch(descriptor);
  Watch& watch = place->second;
  // Known before the system reports it, or the loop would stay awake for nobody.
  watch.token = std::uint64_t{++generation_} << 32 | static_cast<std::uint32_t>(descriptor);
  watch.interest = interest;
  watch.file = fileOf(descriptor);
  watch.ready.swap(ended);
  if (waiter_.watch(descriptor, interest, watch.token)) return true;
  const auto refused = watches_.extract(descriptor);
  return false;
}

void LoopState::unwatch(int descriptor) {
  auto ended = watches_.extract(descriptor);
  if (!ended.empty()) waiter_.unwatch(descriptor);
}

bool LoopState::runDescriptors() {
  if (watches_.empty() || !haveDescriptors()) return false;
  bool any = false;
  const auto run = [&](std::uint64_t token) {
    const auto found = watches_.find(static_cast<int>(token & 0xffffffffU));
    if (found == watches_.end() || found->second.token != token) return;
    const auto ready = found->second.ready;
    (*ready)();
    any = true;
  };
  if (!waiter_.forEachReady(watches_.size(), run)) loseDescriptors();
  return any;
}

int LoopState::descriptor() { return haveIntactDescriptors() ? waiter_.descriptor() : -1; }

int LoopState::pollTimeout() const {
  const auto atMost = longestSleep(std::nullopt);
  // Nobody wakes a poll without a descriptor.
  if (!waiter_.isOpen())
    return Waiter::milliseconds(std::min(atMost.value_or(kDescriptorGlance), kDescriptorGlance));
  return Waiter::milliseconds(atMost);
}

std::optional<Duration> LoopState::longestSleep(
    std::optional<std::chrono::steady_clock::time_point> end) const {
  std::optional<Duration> atMost;
  if (const auto due = nextDue()) {
    atMost = clock().standsStill() ? kManualClockGlance : *due - clock().now();
  }
  if (end) {
    const Duration left = *end - std::chrono::steady_clock::now();
    atMost = atMost ? std::min(*atMost, left) : left;
  }
  return atMost;
}

void LoopState::sleep(std::optional<Duration> atMost) {
  if (haveDescriptors()) {
    const Waiter::Woken woken = waiter_.wait(atMost);
    wakeTaken_ = woken == Waiter::Woken::ByWake;
    if (woken == Waiter::Woken::Lost) {
      loseDescriptors();
      sleepWithoutDescriptors(std::min(atMost.value_or(kAfterLoss), kAfterLoss));
    }
  } else {
    sleepWithoutDescriptors(atMost);
  }
  wakeUps_.fetch_add(1, std::memory_order_relaxed);
}

void LoopState::sleepWithoutDescriptors(std::optional<Duration> atMost) {
  const auto end =
      std::chrono::steady_clock::now() + std::min(atMost.value_or(kDescriptorGlance), kDescriptorGlance);
  const MutexLock lock(mutex_);
  while (!woken_ && wokenWithoutDescriptors_.waitUntil(mutex_, end)) {
  }
}

/// Tries to get some where there are none, and says once when there are none to have.
bool LoopState::haveDescriptors() {
  if (waiter_.isOpen()) return true;
  if (!openDescriptors()) {
    const int reason = errno;
    if (!std::exchange(saidThatNoneAreLeft_, true))
      saidThatNoneAreLeft_ = say("RunLoop: no descriptors (", reason,
                                 "); tasks and timers go on, watches wait until there are some.");
    return false;
  }
  saidThatNoneAreLeft_ = false;
  return true;
}

/// Also when something else has closed those that there were.
bool LoopState::haveIntactDescriptors() {
  if (waiter_.isOpen() && !waiter_.isIntact()) loseDescriptors();
  return haveDescriptors();
}

bool LoopState::openDescriptors() {
  {
    const MutexLock lock(mutex_);
    if (!waiter_.open()) return false;
    if (woken_) waiter_.wake();
  }
  loops::ownDescriptorsOf(*this);
  watchAgain();
  return true;
}

void LoopState::loseDescriptors() {
  {
    const MutexLock lock(mutex_);
    waiter_.forget();
  }
  say("RunLoop: something else has closed its descriptors; it takes new ones.", 0, "");
}

void LoopState::loseDescriptorsTo(const LoopState& owner) {
  const MutexLock lock(mutex_);
  if (waiter_.sharesNumberWith(owner.waiter_)) waiter_.forget();
}

LoopState::File LoopState::fileOf(int descriptor) {
  struct stat file {};
  if (fstat(descriptor, &file) != 0) return {};
  return {file.st_dev, file.st_ino};
}

void LoopState::watchAgain() {
  for (const auto& [descriptor, watch] : watches_) {
    // A number that was closed may mean another's file by now.
    if (fileOf(descriptor) != watch.file) continue;
    waiter_.watch(descriptor, watch.interest, watch.token);
  }
}

RunLoop* LoopState::afterForkInChild() {
  RunLoop* orphanedMain = nullptr;
  const std::thread::id thread = thread_.load();
  if (thread == std::thread::id() || thread == std::this_thread::get_id()) {
    waiter_.renewInChild();
    if (woken_ && waiter_.isOpen()) waiter_.wake();
    if (waiter_.isOpen()) watchAgain();
  } else if (!isOrphan_) {
    isOrphan_ = closing_ = true;
    waiter_.close();
    if (isMain_) orphanedMain = handle_.get();
  }
  mutex_.unlock();
  return orphanedMain;
}

void LoopState::succeedOrphanOf(RunLoop& loop) {
  // Left for good as it is.
  const LoopState* orphan = loop.state_.release();
  loop.state_ = std::make_unique<LoopState>(&loop, orphan->clock_, std::thread::id());
  loop.state_->handle_ = orphan->handle_;
  // No timer that the orphan gave out is taken for one of the successor.
  loop.state_->serial_ = orphan->serial_;
}

}  // namespace vantrel::loop::detail
