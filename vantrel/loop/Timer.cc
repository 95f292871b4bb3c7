#include "vantrel/loop/Timer.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <utility>

#include "vantrel/loop/detail/LoopState.h"

namespace vantrel {
namespace {

constexpr Duration kShortestInterval = std::chrono::microseconds(100);
constexpr Instant kNever{Duration::max()};

/// The first whole interval from `planned` that lies after `now`.
Instant nextAfter(Instant planned, Duration interval, Instant now) {
  if (planned > now) return planned;
  // Without a sign any distance between two instants fits, and the phase is exact however long ago it was.
  const auto count = [](Instant moment) { return static_cast<std::uint64_t>(moment.sinceStart.count()); };
  const auto late = (count(now) - count(planned)) % static_cast<std::uint64_t>(interval.count());
  return now + (interval - Duration{static_cast<Duration::rep>(late)});
}

}  // namespace

class Timer::State : public loop::detail::Repeating {
 public:
  State(Duration interval, Action action, std::optional<std::weak_ptr<const void>> owner)
      : loop_(RunLoop::current().handle()),
        interval_(std::max(interval, kShortestInterval)),
        action_(std::make_shared<Action>(std::move(action))),
        owner_(std::move(owner)) {}

  bool valid() const { return action_ && !ownerIsGone(); }

  /// Of this timer, which has this state.
  void startFromNow(Timer& timer) {
    timer_ = &timer;
    if (const auto loop = loop_.lock()) schedule(loop->clock().now() + interval_);
  }

  /// In the loop at `moment`, which keeps the timer until then.
  void schedule(Instant moment) {
    const auto loop = loop_.lock();
    if (!action_ || !loop) return;
    auto& state = loop::detail::LoopState::of(*loop);
    const auto kept = timer_->shared_from_this();
    planned_ = moment;
    state.cancel(id_);
    id_ = state.at(moment, std::shared_ptr<Repeating>(kept, this));
  }

  void fireNow() {
    if (const auto loop = loop_.lock()) schedule(loop->clock().now());
  }

  void invalidate() {
    const auto action = std::move(action_);
    action_.reset();
    if (const auto loop = loop_.lock()) loop->cancel(id_);
  }

  /// While the loop keeps the timer.
  void fire() override {
    const auto loop = loop_.lock();
    if (!action_ || !loop) return;
    std::shared_ptr<const void> owner;
    if (owner_ && !(owner = owner_->lock())) return invalidate();
    // Before the call, in which the action may set another moment or end the timer.
    schedule(nextAfter(planned_, interval_, loop->clock().now()));
    const auto action = action_;
    (*action)(*timer_);
  }

 private:
  bool ownerIsGone() const { return owner_ && owner_->expired(); }

  Timer* timer_ = nullptr;
  const std::weak_ptr<RunLoop> loop_;
  const Duration interval_;
  std::shared_ptr<Action> action_;  ///< null once invalidated
  const std::optional<std::weak_ptr<const void>> owner_;
  Instant planned_;
  RunLoop::TimerId id_{};
};

Timer::Timer(std::unique_ptr<State> state) : state_(std::move(state)) {}

Timer::~Timer() = default;

std::shared_ptr<Timer> Timer::repeating(AnyDuration interval, Action action) {
  if (!action) action = [](Timer&) {};
  std::shared_ptr<Timer> timer(new Timer(std::make_unique<State>(interval, std::move(action), std::nullopt)));
  timer->state_->startFromNow(*timer);
  return timer;
}

std::shared_ptr<Timer> Timer::repeating(AnyDuration interval, Action action,
                                        std::weak_ptr<const void> owner) {
  if (!action) action = [](Timer&) {};
  std::shared_ptr<Timer> timer(
      new Timer(std::make_unique<State>(interval, std::move(action), std::move(owner))));
  timer->state_->startFromNow(*timer);
  return timer;
}

void Timer::setNextFire(Instant moment) { state_->schedule(moment); }

void Timer::fireNow() { state_->fireNow(); }

void Timer::suspend() { state_->schedule(kNever); }

void Timer::invalidate() { state_->invalidate(); }

bool Timer::valid() const { return state_->valid(); }

}  // namespace vantrel
