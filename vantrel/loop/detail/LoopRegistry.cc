#include "vantrel/loop/detail/LoopRegistry.h"

#include <pthread.h>

#include <set>

#include "vantrel/base/Mutex.h"
#include "vantrel/base/NeverDestroyed.h"
#include "vantrel/loop/detail/LoopState.h"

namespace vantrel::loop::detail {
namespace {

struct Registry {
  Mutex mutex;
  std::set<LoopState*> loops VANTREL_GUARDED_BY(mutex);
};

Registry& registry() {
  // Never destroyed: threads may end their loops while the process exits.
  static NeverDestroyed<Registry> known;
  return *known;
}

// The locks of all loops go from one handler to the next, more than the analysis can follow.

void beforeFork() VANTREL_UNCHECKED {
  registry().mutex.lock();
  for (LoopState* loop : registry().loops) loop->beforeFork();
}

void afterForkInParent() VANTREL_UNCHECKED {
  for (LoopState* loop : registry().loops) loop->afterForkInParent();
  registry().mutex.unlock();
}

void afterForkInChild() VANTREL_UNCHECKED {
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
  Registry& known = registry();
  const MutexLock lock(known.mutex);
  known.loops.insert(&loop);
}

void remove(LoopState& loop) {
  Registry& known = registry();
  const MutexLock lock(known.mutex);
  known.loops.erase(&loop);
}

void ownDescriptorsOf(LoopState& loop) {
  Registry& known = registry();
  const MutexLock lock(known.mutex);
  for (LoopState* other : known.loops) {
    if (other != &loop) other->loseDescriptorsTo(loop);
  }
}

}  // namespace loops
}  // namespace vantrel::loop::detail
