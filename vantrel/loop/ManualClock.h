#pragma once

#include <atomic>

#include "vantrel/loop/Clock.h"

namespace vantrel {

/// A clock that stands still until it is told to move: ten minutes of timers run in milliseconds.
class VANTREL_EXPORT ManualClock : public Clock {
 public:
  /// Starts at monotonic 0 and at this moment of the calendar.
  explicit ManualClock(Date start = {});

  Instant now() const override;
  Date date() const override;
  bool standsStill() const override { return true; }

  /// Walks: moves to each due moment of `loop` on the way and runs what is due there, then to the end. On the
  /// loop's own thread. A loop that stays busy without time passing is given up after 100,000 turns in a row,
  /// with a line in the log; the clock then goes to the end at once.
  void advance(RunLoop& loop, AnyDuration by);

  /// Sets the time at once, as a stall or a suspended machine does; runs nothing. Time never goes back:
  /// nothing happens when `by` is negative.
  void jump(AnyDuration by);

  /// Sets the calendar alone, as a user who sets the clock does.
  void setDate(Date date);

 private:
  std::atomic<Duration> elapsed_{Duration{0}};
  std::atomic<double> dateAtStart_;
};

}  // namespace vantrel
