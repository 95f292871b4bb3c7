#include "vantrel/host/detail/Gathering.h"

#include <algorithm>

namespace vantrel::host::detail {
namespace {

constexpr Duration kSoon = std::chrono::milliseconds(100);
constexpr Duration kGathering = std::chrono::seconds(5);
constexpr Duration kRetry = std::chrono::seconds(30);

/// What is left of a time. None when the clock stands before the start: then another one came in force.
Duration leftOf(Duration time, Instant start) {
  const Instant now = Clock::current().now();
  return now < start ? Duration{0} : time - (now - start);
}

}  // namespace

bool Gathering::changed() {
  if (state_ == State::Waiting) return false;
  wait(State::Waiting, begun_ ? std::max(kSoon, leftOf(kGathering, *begun_)) : kSoon);
  return true;
}

void Gathering::begun() {
  state_ = State::Idle;
  begun_ = Clock::current().now();
}

void Gathering::failed() {
  if (state_ == State::Idle) wait(State::Retrying, kRetry);
}

std::optional<Duration> Gathering::left() const {
  if (state_ == State::Idle) return std::nullopt;
  return leftOf(time_, start_);
}

void Gathering::wait(State state, Duration time) {
  state_ = state;
  start_ = Clock::current().now();
  time_ = time;
}

}  // namespace vantrel::host::detail
