#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "vantrel/base/Export.h"
#include "vantrel/loop/Clock.h"

namespace vantrel {

class RunLoop;

template <typename T>
class NeverDestroyed;

namespace loop::detail {
class LoopState;
}  // namespace loop::detail

/// Runs tasks, timers and descriptor callbacks of one thread, one after the other.
///
/// A loop runs by itself (`run`, `runFor`) or inside a host's own loop. An idle loop sleeps.
///
///   for (;;) {
///     pollfd watched[] = {{STDIN_FILENO, POLLIN, 0}, {loop.pollDescriptor(), POLLIN, 0}};
///     poll(watched, 2, loop.pollTimeout());
///     if (watched[0].revents != 0 && !readInput()) break;
///     loop.turn();
///   }
///
/// A loop works without descriptors of the system, too, when none are left: tasks and timers go on, only
/// `watch` and `pollDescriptor` fail. It says so once in the log, and takes some as soon as there are some.
/// So it does when something else in the process closes the loop's own; a loop asleep at that moment hears of
/// posts only after it has woken for another reason.
///
/// Order: a turn runs the tasks posted before it began, then timers that are due, earliest first, those due
/// at the same moment in the order they were started, then ready descriptors. There is one "now" a turn; what
/// a callback posts or starts waits for the next turn. A callback may cancel or destroy anything but the
/// loop, and may run nested turns. What a callback throws comes out of `turn` or `run`; what had not run yet
/// waits for the next turn. What a task captured is destroyed right after it ran. Empty tasks are ignored,
/// and so is everything that is posted or started while the loop is being destroyed.
///
/// Where memory runs out, `std::bad_alloc` comes out of the operation that starts something, and nothing is
/// started. What has been started goes on: a turn needs no memory of its own.
///
/// Forks: in a forked child the loop of the thread that forked goes on, with tasks, timers and watches as
/// they stood (both processes run them) and with descriptors of its own, `pollDescriptor` under the same
/// number. Loops of other threads take nothing any more. The main loop of another thread is empty in the
/// child and belongs to whoever asks for it first.
///
/// Threads: `post`, `stop` and `wakeUps` from any thread; everything else on the thread that made the loop.
class VANTREL_EXPORT RunLoop {
 public:
  using Task = std::function<void()>;

  /// A timer's due moment and serial.
  using TimerId = std::pair<Instant, std::uint64_t>;

  /// Follows `clock`, or whatever clock is in force when null.
  explicit RunLoop(const Clock* clock = nullptr);

  /// Drops all tasks and timers unrun.
  ~RunLoop();
  RunLoop(const RunLoop&) = delete;
  RunLoop& operator=(const RunLoop&) = delete;

  /// The main loop; the thread that first asks for it, here or by `current`, is the main thread. Posting
  /// through `MainQueue` does not count as asking. The main loop is never destroyed.
  static RunLoop& main();

  /// The calling thread's loop, made when first asked for: the main loop on the main thread. It ends with its
  /// thread, after the thread-local objects, whose destructors may still use it. The end of the process
  /// leaves it as it is.
  static RunLoop& current();

  /// The calling thread never becomes the main thread by `current`. For threads that may ask for a loop
  /// before the program's main thread does; those of a background queue have said it.
  static void declareWorkerThread();

  /// Whether the caller is the thread that this loop belongs to.
  bool isCurrent() const;

  /// Runs `task` in the next turn; wakes the loop.
  void post(Task task);

  /// Runs `task` once at `due`; a moment that has passed means the next turn, the largest instant never.
  TimerId at(Instant due, Task task);

  /// Runs `task` once, `delay` from now by the loop's clock; 0 or less: in the next turn.
  TimerId after(AnyDuration delay, Task task);

  /// Forgets a timer; fired or unknown: nothing happens.
  void cancel(TimerId id);

  /// Which way a descriptor is watched.
  enum class Interest : std::uint8_t { Read, Write, ReadWrite };

  /// Calls `ready` in every turn in which the descriptor is ready (or failed) until `unwatch`. One watch per
  /// descriptor; watching again replaces. False when the system refuses the descriptor (closed, or a plain
  /// file, which is always ready) or has none left for the loop itself, or `ready` is empty; the descriptor
  /// is then not watched.
  bool watch(int descriptor, Interest interest, std::function<void()> ready);

  /// Ends a watch; unknown: nothing happens. Call it before the descriptor is closed.
  void unwatch(int descriptor);

  /// Runs everything ready now; never blocks. True when anything ran.
  bool turn();

  /// Now while tasks wait, else the first timer's moment, else none.
  std::optional<Instant> nextDue() const;

  /// Readable when something other than the clock asks for a turn: a posted task or a watched descriptor.
  /// -1 while the system has none left. Ask before every poll: the number changes when something else has
  /// closed the descriptor.
  int pollDescriptor() const;

  /// For how long to poll it: milliseconds until the next due moment, rounded up, so that no poll ends just
  /// before it; -1 for as long as it takes. Without a descriptor, and with a timer under a clock that stands
  /// still, a while after which to look again. Ask before every poll.
  int pollTimeout() const;

  /// Turns and sleeps until `stop`. Under a clock that stands still timers fire once somebody has moved the
  /// clock, which `run` looks at again every 10 ms of real time while a timer waits.
  void run();

  /// The same for at most `duration` of real time.
  void runFor(AnyDuration duration);

  /// Ends the innermost `run` or `runFor` after the current turn; when none runs, the next one ends at once.
  void stop();

  /// How often the loop has come out of a sleep; an idle loop's count stands still.
  std::uint64_t wakeUps() const;

  const Clock& clock() const;

  /// Expires when the loop is destroyed; for those who keep a loop that they do not own. Lock it on the
  /// loop's own thread only, and do not keep the result.
  std::weak_ptr<RunLoop> handle() const;

 private:
  friend class loop::detail::LoopState;
  friend class NeverDestroyed<RunLoop>;
  RunLoop(const Clock* clock, std::thread::id thread);
  std::unique_ptr<loop::detail::LoopState> state_;
};

}  // namespace vantrel
