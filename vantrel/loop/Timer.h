#pragma once

#include <functional>
#include <memory>

#include "vantrel/base/Export.h"
#include "vantrel/loop/RunLoop.h"

namespace vantrel {

/// A timer that repeats on the run loop of the thread that makes it, until it is invalidated.
///
/// The loop holds the timer while it is valid, so nobody has to keep it; it ends with its loop. A firing that
/// comes late (a stall, a suspended machine) fires once; the next one comes at the next whole interval from
/// the planned moment, so that a rhythm keeps its phase and missed firings are not made up for. An interval
/// below 0.1 ms counts as 0.1 ms.
///
/// Threads: the thread that made it.
class VANTREL_EXPORT Timer : public std::enable_shared_from_this<Timer> {
 public:
  using Action = std::function<void(Timer&)>;

  /// Fires first one interval from now. `owner`, when given, is held weakly and kept alive during a call;
  /// once it is gone the timer is no longer valid, and the next firing, which calls nobody, drops it.
  ///
  ///   Timer::repeating(0.5s, [](Timer&) { std::puts("tick"); });
  static std::shared_ptr<Timer> repeating(AnyDuration interval, Action action);
  static std::shared_ptr<Timer> repeating(AnyDuration interval, Action action,
                                          std::weak_ptr<const void> owner);

  ~Timer();
  Timer(const Timer&) = delete;
  Timer& operator=(const Timer&) = delete;

  /// The moment of the next firing, from which the interval counts on. Nothing happens on an invalidated
  /// timer.
  void setNextFire(Instant moment);

  /// Fires in the next turn of its loop, from whose now the interval counts on.
  void fireNow();

  /// Never fires until `setNextFire` or `fireNow`; the loop keeps it all the same.
  void suspend();

  /// Ends it for good and drops the action with what it captured.
  void invalidate();

  bool valid() const;

 private:
  class State;
  explicit Timer(std::unique_ptr<State> state);
  std::unique_ptr<State> state_;
};

}  // namespace vantrel
