#include "vantrel/loop/Clock.h"

#include <atomic>
#include <cmath>
#include <limits>

#include "vantrel/base/NeverDestroyed.h"

namespace vantrel {
namespace {

class SystemClock : public Clock {
 public:
  Instant now() const override { return {std::chrono::steady_clock::now().time_since_epoch()}; }

  Date date() const override {
    const std::chrono::duration<double> since = std::chrono::system_clock::now().time_since_epoch();
    return {since.count()};
  }
};

/// Null: the system's.
constinit std::atomic<Clock*> inForce{nullptr};

}  // namespace

Duration durationOfSeconds(double seconds) {
  const double nanoseconds = seconds * 1e9;
  if (std::isnan(nanoseconds)) return Duration{0};
  // The largest count is not a double: its neighbour 2^63 is, and is already too large.
  if (nanoseconds >= 0x1p63) return Duration::max();
  if (nanoseconds <= -0x1p63) return Duration::min();
  return Duration{static_cast<Duration::rep>(nanoseconds)};
}

Clock& Clock::system() {
  // Never destroyed: threads may ask for the time while the process exits.
  static NeverDestroyed<SystemClock> clock;
  return *clock;
}

Clock& Clock::current() {
  Clock* clock = inForce.load(std::memory_order_acquire);
  return clock ? *clock : system();
}

ScopedClock::ScopedClock(Clock& clock) : earlier_(inForce.exchange(&clock)) {}

ScopedClock::~ScopedClock() { inForce.store(earlier_); }

}  // namespace vantrel
