#include "vantrel/base/Date.h"

#include <cmath>
#include <cstdint>

namespace vantrel {

using std::chrono::duration;
using std::chrono::duration_cast;
using std::chrono::seconds;
using Clock = std::chrono::system_clock;

// Whole seconds and fraction go their own ways: a count of nanoseconds is more than a double holds.

Date Date::of(Clock::time_point moment) {
  const auto since = moment.time_since_epoch();
  const auto whole = duration_cast<seconds>(since);
  return {static_cast<double>(whole.count()) + duration<double>(since - whole).count()};
}

std::optional<Clock::time_point> Date::timePoint() const {
  using Ticks = Clock::duration;
  constexpr auto first = static_cast<double>(duration_cast<seconds>(Ticks::min()).count());
  constexpr auto last = static_cast<double>(duration_cast<seconds>(Ticks::max()).count());
  const double whole = std::floor(secondsSince1970);
  if (!(whole >= first && whole < last)) return std::nullopt;
  const double ticks = (secondsSince1970 - whole) * Ticks::period::den / Ticks::period::num;
  return Clock::time_point(seconds(static_cast<std::int64_t>(whole)) + Ticks(std::llround(ticks)));
}

}  // namespace vantrel
