#pragma once

#include <cstddef>
#include <functional>
#include <memory>

#include "vantrel/platform/Export.h"

namespace vantrel {

/// A concurrent queue: tasks start in the order queued, on a bounded pool of threads, and may overlap.
///
/// The pool starts with as many workers as processors when there is work, grows by one whenever tasks wait
/// while none of the workers has taken one for a few milliseconds (all are blocked), up to the limit, and
/// shrinks again when idle. An exception that escapes a task ends the process, as it does in any thread.
///
/// Threads: any.
class VANTREL_EXPORT BackgroundQueue {
 public:
  /// A queue of its own with at most `limit` threads.
  explicit BackgroundQueue(std::size_t limit = 64);

  /// Runs what is queued, then joins every worker.
  ~BackgroundQueue();
  BackgroundQueue(const BackgroundQueue&) = delete;
  BackgroundQueue& operator=(const BackgroundQueue&) = delete;

  /// The one that the library's services use. It joins when the process exits normally; tasks queued after
  /// that are dropped.
  static BackgroundQueue& shared();

  void post(std::function<void()> task);

  /// Threads alive now.
  std::size_t workers() const;

 private:
  class State;
  std::unique_ptr<State> state_;
};

}  // namespace vantrel
