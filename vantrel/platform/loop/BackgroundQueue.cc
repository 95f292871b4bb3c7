#include "vantrel/platform/loop/BackgroundQueue.h"

#include <atomic>
#include <cstdlib>
#include <utility>

#include "vantrel/platform/loop/WorkerPool.h"

namespace vantrel {

BackgroundQueue::BackgroundQueue(std::size_t limit)
    : pool_(std::make_shared<platform::detail::WorkerPool>(limit)) {}

BackgroundQueue::~BackgroundQueue() { pool_->close(); }

BackgroundQueue& BackgroundQueue::shared() {
  // Never destroyed, only closed: tasks and other threads may post while the process exits.
  static BackgroundQueue& queue = *[] {
    auto* made = new BackgroundQueue;
    std::atexit(closeAtExit);
    return made;
  }();
  return queue;
}

void BackgroundQueue::closeAtExit() {
  static constinit std::atomic<bool> done{false};
  if (done) return;
  // A second thread that exits meanwhile finds this here again, or it would end the process amid the tasks.
  std::atexit(closeAtExit);
  shared().pool_->close();
  done = true;
}

void BackgroundQueue::post(std::function<void()> task) {
  if (task) pool_->post(std::move(task));
}

std::size_t BackgroundQueue::workers() const { return pool_->workers(); }

}  // namespace vantrel
