#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vantrel::system::detail {

/// The C library's local time zone with its changes remembered, because asking for one costs more than all
/// the arithmetic of a time text. All times are whole seconds; `local` ones count on the local clock, from 1
/// January 1970 00:00 as that clock shows it. Moments must lie within the years -10000 to 10000.
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

  /// The zone in force. Each thread has its own, so that nothing is locked; valid for the calls of one
  /// operation.
  static LocalZone& current();

  /// Seconds east of UTC.
  std::int32_t offsetAt(std::int64_t moment);

  Moments momentsOf(std::int64_t local);

 private:
  struct Block {
    std::int64_t key;     // block number + kKeyBias, 0 while unused
    std::int64_t change;  // first second with `after`
    std::int32_t before;  // offset up to the change
    std::int32_t after;   // offset from it on
  };

  static Block load(std::int64_t number);

  std::size_t environment_;  // hash of TZ, 0 before the first use
  std::array<Block, 64> blocks_;
};

}  // namespace vantrel::system::detail
