#include "vantrel/system/KWAction.h"

#include <atomic>
#include <optional>
#include <thread>

#include "vantrel/base/Mutex.h"
#include "vantrel/base/NeverDestroyed.h"
#include "vantrel/loop/BackgroundQueue.h"
#include "vantrel/loop/Clock.h"
#include "vantrel/loop/MainQueue.h"

namespace vantrel {
namespace {

/// Like std::once_flag, but a call from inside its own task returns instead of waiting for itself.
class Once {
 public:
  void run(const KWAction::Task& task) {
    if (done_.load(std::memory_order_acquire)) return;
    MutexLock lock(mutex_);
    if (runner_ == std::this_thread::get_id()) return;
    if (runner_ != std::thread::id()) {
      while (!done_) finished_.wait(mutex_);
      return;
    }
    runner_ = std::this_thread::get_id();
    lock.unlock();
    const Finish finish(*this);
    if (task) task();
  }

  void reset() {
    const MutexLock lock(mutex_);
    runner_ = {};
    done_ = false;
  }

 private:
  /// Also when something comes out of the task: it has run, and nobody may wait for it for ever.
  class Finish {
   public:
    explicit Finish(Once& once) : once_(once) {}
    ~Finish() {
      const MutexLock lock(once_.mutex_);
      once_.done_.store(true, std::memory_order_release);
      once_.finished_.notifyAll();
    }
    Finish(const Finish&) = delete;
    Finish& operator=(const Finish&) = delete;

   private:
    Once& once_;
  };

  std::atomic<bool> done_{false};
  Mutex mutex_;
  Condition finished_;
  std::thread::id runner_ VANTREL_GUARDED_BY(mutex_);  ///< who runs or has run the task; none at first
};

Once& onceToken() {
  // Never destroyed: a thread may wait on it while the process exits.
  static NeverDestroyed<Once> token;
  return *token;
}

/// When the limiter last gave true.
std::optional<Date> lastDate;

/// Members of a group share one; the last to let go of it queues the final task.
class Group {
 public:
  explicit Group(KWAction::Task final) : final_(std::move(final)) {}
  ~Group() { final_.post(); }
  Group(const Group&) = delete;
  Group& operator=(const Group&) = delete;

  /// There will be no members.
  void dissolve() { final_.reset(); }

 private:
  MainQueue::Prepared final_;
};

}  // namespace

void KWAction::subTask(Task task) { BackgroundQueue::shared().post(std::move(task)); }

void KWAction::mainTask(Task task) { MainQueue::post(std::move(task)); }

void KWAction::subTasks_Final(std::vector<Task> tasks, Task final) {
  const auto group = std::make_shared<Group>(std::move(final));
  try {
    std::vector<Task> members;
    members.reserve(tasks.size());
    for (Task& task : tasks) {
      if (!task) continue;
      members.push_back([group, task = std::move(task)]() mutable {
        task();
        task = nullptr;  // before the group hears of it
      });
    }
    BackgroundQueue::shared().postAll(std::move(members));
  } catch (...) {
    group->dissolve();
    throw;
  }
}

void KWAction::delay_Task(double seconds, Task task) {
  MainQueue::postAfter(durationOfSeconds(seconds), std::move(task));
}

void KWAction::delay_Task(double seconds, Task task, std::weak_ptr<const void> owner) {
  MainQueue::postAfter(durationOfSeconds(seconds), std::move(task), std::move(owner));
}

void KWAction::taskOnce(const Task& task) { onceToken().run(task); }

void KWAction::resetForTests() {
  onceToken().reset();
  lastDate.reset();
}

void KWAction::task_Times(const Task&, std::int32_t) {}

bool KWAction::setMinExecutionGap(double gap) {
  taskOnce([] { lastDate = Clock::current().date(); });
  const Date now = Clock::current().date();
  if (lastDate && now.secondsSince1970 - lastDate->secondsSince1970 < gap) return false;
  lastDate = now;
  return true;
}

std::shared_ptr<Timer> KWAction::startKeeping(Timer::Action action, std::shared_ptr<void> target,
                                              double interval) {
  if (!action) action = [](Timer&) {};
  return Timer::repeating(
      durationOfSeconds(interval),
      [action = std::move(action), target = std::move(target)](Timer& timer) { action(timer); });
}

std::shared_ptr<Timer> KWAction::startFor(Timer::Action action, std::weak_ptr<const void> target,
                                          double interval) {
  return Timer::repeating(durationOfSeconds(interval), std::move(action), std::move(target));
}

void KWAction::timingPause(const std::shared_ptr<Timer>& timer) {
  if (timer) timer->suspend();
}

void KWAction::timingContinue(const std::shared_ptr<Timer>& timer) {
  if (timer) timer->fireNow();
}

void KWAction::timingStop(const std::shared_ptr<Timer>& timer) {
  if (timer) timer->invalidate();
}

}  // namespace vantrel
