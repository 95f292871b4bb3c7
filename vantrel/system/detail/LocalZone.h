#pragma once

#include <cstdint>

namespace vantrel::system::detail {

/// The C library's local time zone with its offsets remembered, because asking for one costs more than all
/// the arithmetic of a time text. All times are whole seconds; `local` ones count on the local clock, from 1
/// January 1970 00:00 as that clock shows it. Moments must lie within the years -10000 to 10000. Any thread.
class LocalZone {
 public:
  /// The moments at which the local clock shows one time: none when a change skips it, two when it occurs
  /// twice, and what a clock without that change would give.
  struct Moments {
    int count = 0;
    std::int64_t earlier = 0;
    std::int64_t later = 0;
    std::int64_t byOffsetBefore = 0;
  };

  /// The zone in force, good for the calls of one operation.
  static LocalZone current();

  /// Seconds east of UTC.
  std::int32_t offsetAt(std::int64_t moment) const;

  Moments momentsOf(std::int64_t local) const;

 private:
  explicit LocalZone(std::uint64_t generation) : generation_(generation) {}

  std::uint64_t generation_;  // counts the changes of TZ
};

}  // namespace vantrel::system::detail
