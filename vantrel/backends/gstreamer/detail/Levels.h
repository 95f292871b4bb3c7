#pragma once

#include <chrono>
#include <deque>
#include <vector>

#include "vantrel/base/Mutex.h"

namespace vantrel::backends::gstreamer::detail {

/// The levels of stretches of a track. They are measured ahead of the moment at which they are heard, on the
/// decoding thread, and looked up by what is heard now.
/// Threads: any.
class Levels {
 public:
  using Time = std::chrono::nanoseconds;

  /// Decibels of each channel from `start` of the track on, for `length`. Only the newest ones are kept.
  void add(Time start, Time length, std::vector<float> decibels);

  /// Those of the newest measured stretch that has begun at `position`; empty when there is none or it ended
  /// long before.
  std::vector<float> at(Time position) const;

  void clear();

 private:
  struct Stretch {
    Time start;
    Time end;
    std::vector<float> decibels;
  };

  mutable Mutex mutex_;
  std::deque<Stretch> stretches_ VANTREL_GUARDED_BY(mutex_);
};

}  // namespace vantrel::backends::gstreamer::detail
