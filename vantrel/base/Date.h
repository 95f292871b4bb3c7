#pragma once

#include <compare>

namespace vantrel {

/// A moment: seconds since 1 January 1970, 00:00 UTC, with a fraction, negative before.
struct Date {
  double secondsSince1970 = 0;

  friend auto operator<=>(const Date&, const Date&) = default;
};

}  // namespace vantrel
