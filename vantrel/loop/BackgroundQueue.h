#pragma once

#include <atomic>
#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "vantrel/base/Export.h"

namespace vantrel {

/// A concurrent queue: tasks start in the order queued, on a bounded pool of threads, and may overlap.
///
/// The pool starts with as many workers as processors when there is work, grows by one whenever tasks wait
/// while none of the workers has taken one for a few milliseconds (all are blocked), up to the limit, and
/// shrinks again when idle. The process's signals are blocked on its threads. An exception that escapes a
/// task ends the process, as it does in any thread.
///
/// While the system refuses threads, tasks wait; the log says so once, and the system is asked again every
/// 100 ms: by a thread of the queue if there is one already, else by the main run loop where one runs, and
/// at each further post. A queue that closes without a single thread runs its tasks on the thread that
/// closes it.
///
/// A fork: a queue made before it may be used, and destroyed, in the child, where it is empty and makes
/// threads of its own. Tasks queued in the parent are the parent's; in the child they neither run nor are
/// destroyed. A task that forks and returns in the child ends the child there, as by `exit(0)`: its thread is
/// the only one that the child has.
///
/// Threads: any. A task may post, drop the last owner of its queue and call `exit`.
class VANTREL_EXPORT BackgroundQueue {
 public:
  /// A queue of its own with at most `limit` threads; 0 counts as 1.
  explicit BackgroundQueue(std::size_t limit = 64);

  /// Closes the queue: what is queued by now runs, what its tasks queue from here on is dropped unrun, and
  /// every worker is joined. Inside a task of the queue it waits for the other tasks in the same way, while
  /// the calling one goes on afterwards.
  ~BackgroundQueue();
  BackgroundQueue(const BackgroundQueue&) = delete;
  BackgroundQueue& operator=(const BackgroundQueue&) = delete;

  /// The one that the library's services use. It closes in the same way when the process exits normally,
  /// wherever `exit` is called; tasks queued after that are dropped.
  static BackgroundQueue& shared();

  /// Queues the task and returns at once; an empty one is not queued. Where memory runs out `std::bad_alloc`
  /// comes out and the task is not queued.
  void post(std::function<void()> task);

  /// Queues them in their order, all or, where memory runs out, none.
  void postAll(std::vector<std::function<void()>> tasks);

  /// Threads alive now that run tasks.
  std::size_t workers() const;

 private:
  struct Held;
  Held& here() const;
  static void closeAtExit();

  const std::size_t limit_;
  mutable std::atomic<Held*> held_;
};

}  // namespace vantrel
