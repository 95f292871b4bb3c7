// A loop's descriptors: how it watches them, sleeps with its own and without any, and comes by its own: at
// first, when something else has closed them, and in a forked child.

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
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

}  // namespace

LoopState::LoopState(RunLoop* loop, const Clock* clock, std::thread::id thread)
    : handle_(loop, [](RunLoop*) {}), clock_(clock), isMain_(thread == std::thread::id()), thread_(thread) {
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
  unwatch(descriptor);
  if (closing_ || !haveIntactDescriptors()) return false;
  const std::uint64_t token = std::uint64_t{++generation_} << 32 | static_cast<std::uint32_t>(descriptor);
  auto shared = std::make_shared<std::function<void()>>(std::move(ready));
  // Known first: a watch that the system reports and nobody knows would keep the loop awake.
  watches_[descriptor] = {token, interest, fileOf(descriptor), std::move(shared)};
  if (waiter_.watch(descriptor, interest, token)) return true;
  watches_.erase(descriptor);
  return false;
}

void LoopState::unwatch(int descriptor) {
  auto ended = watches_.extract(descriptor);
  if (!ended.empty()) waiter_.unwatch(descriptor);
}

bool LoopState::runDescriptors() {
  if (watches_.empty() || !haveDescriptors()) return false;
  const auto tokens = waiter_.ready(watches_.size());
  if (!tokens) {
    loseDescriptors();
    return false;
  }
  bool any = false;
  for (const std::uint64_t token : *tokens) {
    const auto found = watches_.find(static_cast<int>(token & 0xffffffffU));
    if (found == watches_.end() || found->second.token != token) continue;
    const auto ready = found->second.ready;
    (*ready)();
    any = true;
  }
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
    if (!std::exchange(saidThatNoneAreLeft_, true)) {
      logFormat(LogLevel::Warning,
                "RunLoop: no descriptors (%s); tasks and timers go on, watches wait until there are some.",
                std::generic_category().message(reason).c_str());
    }
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
  log(LogLevel::Warning, "RunLoop: something else has closed its descriptors; it takes new ones.");
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
