#pragma once

#include <chrono>
#include <compare>
#include <optional>

#include "vantrel/base/Export.h"

namespace vantrel {

/// A moment: seconds since 1 January 1970, 00:00 UTC, with a fraction, negative before.
struct VANTREL_EXPORT Date {
  double secondsSince1970 = 0;

  /// To the nearest double, which near the present is a quarter of a microsecond from the next one.
  static Date of(std::chrono::system_clock::time_point moment);

  /// To the nearest tick; absent for what is no number, and beyond the years that the clock covers (of
  /// nanoseconds: 1678 to 2261).
  std::optional<std::chrono::system_clock::time_point> timePoint() const;

  friend auto operator<=>(const Date&, const Date&) = default;
};

}  // namespace vantrel
