#include "vantrel/platform/loop/LoopRegistry.h"

#include <mutex>
#include <set>

#include "vantrel/platform/loop/LoopState.h"

namespace vantrel::platform::detail {
namespace {

struct Registry {
  std::mutex mutex;
  std::set<LoopState*> loops;
};

Registry& registry() {
  // Never destroyed: threads may end their loops while the process exits.
  static Registry& registry = *new Registry;
  return registry;
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
}  // namespace vantrel::platform::detail
