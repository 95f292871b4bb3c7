#include "vantrel/loop/BackgroundQueue.h"

#include <cstdlib>
#include <utility>

#include "vantrel/base/ExitGate.h"
#include "vantrel/loop/detail/WorkerPool.h"

namespace vantrel {

/// The queue's pool in one process.
struct BackgroundQueue::Held {
  explicit Held(std::size_t limit) : pool(std::make_shared<loop::detail::WorkerPool>(limit)) {}

  /// Keeps what belongs to the parent for ever: to destroy a condition variable would wait for threads that
  /// are not here. In a list, so that a search for leaks finds it.
  static void abandon(Held* held) {
    static constinit std::atomic<Held*> abandoned{nullptr};
    held->next = abandoned.load();
    while (!abandoned.compare_exchange_weak(held->next, held)) {
    }
  }

  const std::shared_ptr<loop::detail::WorkerPool> pool;
  Held* next = nullptr;
};

BackgroundQueue::BackgroundQueue(std::size_t limit) : limit_(limit), held_(new Held(limit)) {}

BackgroundQueue::~BackgroundQueue() {
  Held* held = held_;
  held->pool->close();
  if (held->pool->isForked()) {
    Held::abandon(held);
  } else {
    delete held;
  }
}

BackgroundQueue& BackgroundQueue::shared() {
  // Never destroyed, only closed: tasks and other threads may post while the process exits. Nor made under a
  // lock, which a fork at that moment would leave held in the child.
  static constinit std::atomic<BackgroundQueue*> only{nullptr};
  if (BackgroundQueue* known = only.load(std::memory_order_acquire)) return *known;
  auto made = std::make_unique<BackgroundQueue>();
  BackgroundQueue* other = nullptr;
  if (!only.compare_exchange_strong(other, made.get())) return *other;
  std::atexit(closeAtExit);
  return *made.release();
}

void BackgroundQueue::closeAtExit() {
  static constinit ExitGate gate;
  loop::detail::WorkerPool& pool = *shared().held_.load()->pool;
  if (gate.enter(closeAtExit, [&] { pool.leaveIfWorker(); })) pool.close();
}

void BackgroundQueue::post(std::function<void()> task) {
  if (task) here().pool->post({&task, 1});
}

void BackgroundQueue::postAll(std::vector<std::function<void()>> tasks) {
  std::erase_if(tasks, [](const auto& task) { return !task; });
  if (!tasks.empty()) here().pool->post(tasks);
}

std::size_t BackgroundQueue::workers() const { return here().pool->workers(); }

/// What this process holds: a new pool at the first use in a forked child.
BackgroundQueue::Held& BackgroundQueue::here() const {
  Held* held = held_.load(std::memory_order_acquire);
  if (!held->pool->isForked()) return *held;
  auto made = std::make_unique<Held>(limit_);
  // Another thread of the child may have been faster.
  if (!held_.compare_exchange_strong(held, made.get())) return *held;
  Held::abandon(held);
  return *made.release();
}

}  // namespace vantrel
