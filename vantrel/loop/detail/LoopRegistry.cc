#include "vantrel/loop/detail/LoopRegistry.h"

#include <pthread.h>

#include <mutex>
#include <set>

#include "vantrel/base/NeverDestroyed.h"
#include "vantrel/loop/detail/LoopState.h"

namespace vantrel::loop::detail {
namespace {

struct Registry {
  std::mutex mutex;
  std::set<LoopState*> loops;
};

Registry& registry() {
  // Never destroyed: threads may end their loops while the process exits.
  static NeverDestroyed<Registry> known;
  return *known;
}

void beforeFork() {
  registry().mutex.lock();
  for (LoopState* loop : registry().loops) loop->beforeFork();
}

void afterForkInParent() {
  for (LoopState* loop : registry().loops) loop->afterForkInParent();
  registry().mutex.unlock();
}

void afterForkInChild() {
  RunLoop* mainLoop = nullptr;
  for (LoopState* loop : registry().loops) {
    if (RunLoop* orphan = loop->afterForkInChild()) mainLoop = orphan;
  }
  registry().mutex.unlock();
  if (mainLoop) LoopState::succeedOrphanOf(*mainLoop);
}

/// Before all other handlers are registered, so that these locks, under which nothing else is locked, are the
/// last ones that a fork takes.
[[gnu::constructor(101)]] void followForks() {
  pthread_atfork(beforeFork, afterForkInParent, afterForkInChild);
}

}  // namespace

namespace loops {

void add(LoopState& loop) {
  const std::lock_guard lock(registry().mutex);
  registry().loops.insert(&loop);
}

void remove(LoopState& loop) {
  const std::lock_guard lock(registry().mutex);
  registry().loops.erase(&loop);
}

void ownDescriptorsOf(LoopState& loop) {
  const std::lock_guard lock(registry().mutex);
  for (LoopState* other : registry().loops) {
    if (other != &loop) other->loseDescriptorsTo(loop);
  }
}

}  // namespace loops
}  // namespace vantrel::loop::detail
