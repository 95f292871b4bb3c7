#include "vantrel/loop/MainQueue.h"

#include <utility>

#include "vantrel/loop/detail/LoopState.h"
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
  } else {
    loop::detail::LoopState::of(loop).postAt(due, std::move(task));
  }
}

void postAfter(AnyDuration delay, std::function<void()> task, std::weak_ptr<const void> owner) {
  if (!task) return;
  postAfter(delay, [task = std::move(task), owner = std::move(owner)] {
    if (const auto alive = owner.lock()) task();
  });
}

Prepared::Prepared(std::function<void()> task) {
  // The main loop, too, is made when first asked for.
  loop::detail::mainLoopForPosting();
  if (task) task_.push_back(std::move(task));
}

void Prepared::post() noexcept {
  loop::detail::LoopState::of(loop::detail::mainLoopForPosting()).postPrepared(task_);
  task_.clear();
}

}  // namespace vantrel::MainQueue
