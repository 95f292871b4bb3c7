#pragma once

#include <chrono>
#include <concepts>
#include <ratio>

#include "vantrel/base/Date.h"
#include "vantrel/base/Export.h"

namespace vantrel {

class RunLoop;

/// A length of time, in nanoseconds.
using Duration = std::chrono::nanoseconds;

/// A moment on a monotonic time line that has nothing to do with the calendar.
struct Instant {
  Duration sinceStart{0};

  friend auto operator<=>(const Instant&, const Instant&) = default;

  /// Clamped to what an instant holds.
  friend Instant operator+(Instant moment, Duration by) {
    Duration::rep sum = 0;
    if (!__builtin_add_overflow(moment.sinceStart.count(), by.count(), &sum)) return {Duration{sum}};
    return {by.count() > 0 ? Duration::max() : Duration::min()};
  }
  /// Clamped to what a duration holds.
  friend Duration operator-(Instant later, Instant earlier) {
    Duration::rep difference = 0;
    if (!__builtin_sub_overflow(later.sinceStart.count(), earlier.sinceStart.count(), &difference))
      return Duration{difference};
    return later > earlier ? Duration::max() : Duration::min();
  }
};

/// Seconds as a duration: truncated to whole nanoseconds, clamped to what a duration holds; not a number
/// gives 0.
VANTREL_EXPORT Duration durationOfSeconds(double seconds);

/// A length of time as operations take it: any duration of `std::chrono`, with a fraction too (0.5s).
/// Truncated, clamped and not a number as above.
class AnyDuration {
 public:
  constexpr AnyDuration(Duration duration) : value_(duration) {}

  template <typename Rep, typename Period>
  AnyDuration(std::chrono::duration<Rep, Period> duration) : value_(inNanoseconds(duration)) {}

  constexpr operator Duration() const { return value_; }

 private:
  template <typename Rep, typename Period>
  static Duration inNanoseconds(std::chrono::duration<Rep, Period> duration) {
    return durationOfSeconds(std::chrono::duration<double>(duration).count());
  }

  template <std::integral Rep, typename Period>
  requires(std::ratio_divide<Period, std::nano>::den == 1) static constexpr Duration
      inNanoseconds(std::chrono::duration<Rep, Period> duration) {
    Duration::rep count = 0;
    if (!__builtin_mul_overflow(duration.count(), std::ratio_divide<Period, std::nano>::num, &count))
      return Duration{count};
    return duration.count() > 0 ? Duration::max() : Duration::min();
  }

  Duration value_;
};

/// Where every service takes its time from. Threads: any.
class VANTREL_EXPORT Clock {
 public:
  virtual ~Clock() = default;

  /// Monotonic: never goes back.
  virtual Instant now() const = 0;

  /// The calendar's moment; may jump.
  virtual Date date() const = 0;

  /// Whether time passes only when someone moves the clock: sleeping brings no moment nearer then.
  virtual bool standsStill() const { return false; }

  /// The machine's clocks.
  static Clock& system();

  /// The clock in force: the system's unless a `ScopedClock` lives.
  static Clock& current();
};

/// Puts another clock in force for the whole process as long as it lives. Scopes nest. Not while other
/// threads run.
class VANTREL_EXPORT ScopedClock {
 public:
  explicit ScopedClock(Clock& clock);
  ~ScopedClock();
  ScopedClock(const ScopedClock&) = delete;
  ScopedClock& operator=(const ScopedClock&) = delete;

 private:
  Clock* earlier_;
};

}  // namespace vantrel
