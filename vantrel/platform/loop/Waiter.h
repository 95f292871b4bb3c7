#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "vantrel/platform/loop/RunLoop.h"

namespace vantrel::platform::detail {

/// What a run loop needs of the operating system: to sleep until a moment, a descriptor or another thread
/// wakes it. The one file to write for another system.
///
/// Threads: `wake` from any thread, everything else on the loop's own.
class Waiter {
 public:
  Waiter();
  ~Waiter();
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;

  /// Makes `descriptor()` readable and ends a `wait`, now or the next one, until that `wait` has reported it
  /// or `clearWake`.
  void wake();
  void clearWake();

  /// Reports `token` while the descriptor is ready. False when the system refuses it.
  bool watch(int descriptor, RunLoop::Interest interest, std::uint64_t token);
  void unwatch(int descriptor);

  /// The tokens of at most `most` descriptors that are ready now.
  std::vector<std::uint64_t> ready(std::size_t most);

  /// Sleeps until woken, a descriptor is ready or the time is over; without a time for as long as it takes.
  /// True when it has taken a wake.
  bool wait(std::optional<Duration> atMost);

  /// Readable while `wait` would return at once for another reason than time.
  int descriptor() const { return poll_; }

 private:
  int poll_ = -1;
  int event_ = -1;
};

}  // namespace vantrel::platform::detail
