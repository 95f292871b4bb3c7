#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <utility>
#include <vector>

#include "vantrel/base/Export.h"
#include "vantrel/loop/Timer.h"

namespace vantrel {

/// Runs tasks in the background, on the main thread, after a delay, as a group or once; limits how often
/// something happens; starts, pauses and stops repeating timers.
///
/// Every "now" is that of the clock in force. Empty tasks are not run; absent timers are ignored. A queue
/// destroys a task, captures and all, right after it ran.
///
/// Threads: any, except where an operation says otherwise.
class VANTREL_EXPORT KWAction {
 public:
  using Task = std::function<void()>;

  KWAction() = delete;

  /// Queues the task on the background queue and returns at once. Background tasks may overlap.
  static void subTask(Task task);

  /// Queues the task on the main queue and returns at once, also on the main thread.
  static void mainTask(Task task);

  /// Queues the tasks on the background queue in the order of the list; they may overlap and finish in any
  /// order. Once all have finished, `final` is queued on the main queue; with an empty list at once. Where
  /// memory runs out `std::bad_alloc` comes out and nothing is queued.
  static void subTasks_Final(std::vector<Task> tasks, Task final);

  /// Queues the task on the main queue to run `seconds` (truncated to nanoseconds) from now; 0 or less, or
  /// NaN: as soon as the main queue is free.
  static void delay_Task(double seconds, Task task);

  /// The same for a task that is dropped unrun if `owner` is gone by then; the owner is kept alive during the
  /// task only.
  static void delay_Task(double seconds, Task task, std::weak_ptr<const void> owner);

  /// Runs the task on the calling thread unless a call of `taskOnce` has run one before in this process,
  /// whatever it was. A call that comes while that task runs waits until it has finished; one from inside it
  /// returns at once. An empty task counts as one that was run, as does one that throws.
  static void taskOnce(const Task& task);

  /// Does nothing: the task is neither run nor kept.
  static void task_Times(const Task& task, std::int32_t count);

  /// A limiter for the whole process: true when at least `gap` seconds of the calendar clock have passed
  /// since it last gave true. A refused call does not move that moment; 0, less and NaN always give true.
  /// The first call starts the count through `taskOnce`, so that it gives false for a gap above 0; when
  /// something else has used `taskOnce` up, there is no moment to count from and it gives true.
  /// Threads: one at a time.
  static bool setMinExecutionGap(double gap);

  /// For a host's own tests, whose cases share a process: forgets that `taskOnce` has run a task and when the
  /// limiter last gave true. Not while another call of either is under way.
  static void resetForTests();

  /// A repeating timer on the run loop of the calling thread, which must be running; first fires one interval
  /// from now. How a late firing is treated, and the shortest interval (also that of 0, less and NaN), stands
  /// at `Timer`.
  ///
  /// With a shared pointer the timer keeps its target until `timingStop`. The null pointer is no target.
  template <typename Target>
  static std::shared_ptr<Timer> timingStart_target_Time(Timer::Action action, std::shared_ptr<Target> target,
                                                        double interval) {
    return startKeeping(std::move(action), std::move(target), interval);
  }
  static std::shared_ptr<Timer> timingStart_target_Time(Timer::Action action, std::nullptr_t,
                                                        double interval) {
    return startKeeping(std::move(action), nullptr, interval);
  }

  /// With a weak one the timer keeps its target only while the action runs, and is stopped once the target is
  /// gone.
  template <typename Target>
  static std::shared_ptr<Timer> timingStart_target_Time(Timer::Action action, std::weak_ptr<Target> target,
                                                        double interval) {
    return startFor(std::move(action), std::move(target), interval);
  }

  // These on the thread that made the timer.

  /// The timer stops firing until `timingContinue`. No effect on a stopped one.
  static void timingPause(const std::shared_ptr<Timer>& timer);

  /// The timer fires at the next turn of its run loop and then every interval from now, whether it was paused
  /// or not. No effect on a stopped one.
  static void timingContinue(const std::shared_ptr<Timer>& timer);

  /// Ends the timer for good and releases its target.
  static void timingStop(const std::shared_ptr<Timer>& timer);

 private:
  static std::shared_ptr<Timer> startKeeping(Timer::Action action, std::shared_ptr<void> target,
                                             double interval);
  static std::shared_ptr<Timer> startFor(Timer::Action action, std::weak_ptr<const void> target,
                                         double interval);
};

}  // namespace vantrel
