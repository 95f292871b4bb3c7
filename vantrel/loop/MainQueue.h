#pragma once

#include <functional>
#include <list>
#include <memory>

#include "vantrel/base/Export.h"
#include "vantrel/loop/Clock.h"

/// The serial queue of the main thread: tasks run one at a time on the main run loop, in the order queued.
/// Threads: any.
namespace vantrel::MainQueue {

/// Queues `task` and returns at once, also on the main thread.
VANTREL_EXPORT void post(std::function<void()> task);

/// Queues `task` to run after `delay` from now; 0 or less: as soon as the queue is free.
VANTREL_EXPORT void postAfter(AnyDuration delay, std::function<void()> task);

/// The same for a task that is dropped unrun, captures and all, if `owner` is gone by then.
VANTREL_EXPORT void postAfter(AnyDuration delay, std::function<void()> task, std::weak_ptr<const void> owner);

/// A task for the queue with all the memory that this takes, so that queueing it cannot fail: for destructors
/// and for what ends in the background. Dropped unrun when it is never queued.
class VANTREL_EXPORT Prepared {
 public:
  explicit Prepared(std::function<void()> task);

  /// Queues the task; nothing happens the second time, and with an empty one.
  void post() noexcept;

  /// Drops the task.
  void reset() noexcept { task_.clear(); }

 private:
  std::list<std::function<void()>> task_;  ///< one at most
};

}  // namespace vantrel::MainQueue
