#include "vantrel/loop/MainQueue.h"

#include <utility>

#include "vantrel/loop/detail/MainLoop.h"

namespace vantrel::MainQueue {

void post(std::function<void()> task) { loop::detail::mainLoopForPosting().post(std::move(task)); }

void postAfter(AnyDuration delay, std::function<void()> task) {
  RunLoop& loop = loop::detail::mainLoopForPosting();
  if (Duration{delay} <= Duration{0} || !task) return loop.post(std::move(task));
  // The delay counts from this call, not from when the loop hears of it.
  const Instant due = loop.clock().now() + delay;
  if (loop.isCurrent()) {
    loop.at(due, std::move(task));
    return;
  }
  loop.post([due, task = std::move(task)]() mutable {
    loop::detail::mainLoopForPosting().at(due, std::move(task));
  });
}

void postAfter(AnyDuration delay, std::function<void()> task, std::weak_ptr<const void> owner) {
  if (!task) return;
  postAfter(delay, [task = std::move(task), owner = std::move(owner)] {
    if (const auto alive = owner.lock()) task();
  });
}

}  // namespace vantrel::MainQueue
