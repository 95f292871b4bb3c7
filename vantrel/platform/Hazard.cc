#include "vantrel/platform/Hazard.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace vantrel::platform::detail {

constinit std::atomic<bool> retiredWaits{false};

// Until this is initialised readers fence for themselves, which is right at any time.
const bool writersFence = syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;

namespace {

/// Makes every thread of the process pass a full fence: what a reader announced before is visible here after,
/// and what it reads after is no older than this. Costs microseconds, but changes are rare.
void fenceAllThreads() {
  if (writersFence) syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
}

using Objects = std::vector<std::shared_ptr<const void>>;

struct Domain {
  std::mutex mutex;
  HazardRecord* records = nullptr;
  Objects retired;
};

Domain& domain() {
  // Never destroyed: threads may read while the process exits.
  static Domain& only = *new Domain;
  return only;
}

bool isAnnounced(const Domain& all, const void* object) {
  for (const HazardRecord* record = all.records; record; record = record->next) {
    for (const auto& slot : record->announced) {
      if (slot.load(std::memory_order_seq_cst) == object) return true;
    }
  }
  return false;
}

/// With the mutex held. The caller destroys what is returned without it: destructors run foreign code.
[[nodiscard]] Objects takeUnused(Domain& all) {
  const auto unused = std::partition(all.retired.begin(), all.retired.end(),
                                     [&](const auto& object) { return isAnnounced(all, object.get()); });
  Objects taken(std::make_move_iterator(unused), std::make_move_iterator(all.retired.end()));
  all.retired.erase(unused, all.retired.end());
  retiredWaits.store(!all.retired.empty(), std::memory_order_relaxed);
  return taken;
}

constinit thread_local bool threadEnds = false;

struct RecordOwner {
  RecordOwner() { HazardRecord::current = &record; }
  ~RecordOwner() {
    HazardRecord::current = nullptr;
    threadEnds = true;
  }
  HazardRecord record;
};

}  // namespace

HazardRecord::HazardRecord() {
  Domain& all = domain();
  const std::lock_guard lock(all.mutex);
  next = all.records;
  if (next) next->link = &next;
  link = &all.records;
  all.records = this;
}

HazardRecord::~HazardRecord() {
  const std::lock_guard lock(domain().mutex);
  *link = next;
  if (next) next->link = link;
}

constinit thread_local HazardRecord* HazardRecord::current = nullptr;

HazardRecord* HazardRecord::makeForThisThread() {
  if (threadEnds) return nullptr;
  static thread_local RecordOwner owner;
  return current;
}

void retire(std::shared_ptr<const void> object) {
  // Now, and not again for a later look: who starts to read from here on does not find the object.
  fenceAllThreads();
  Objects unused;
  Domain& all = domain();
  const std::lock_guard lock(all.mutex);
  all.retired.push_back(std::move(object));
  unused = takeUnused(all);
}

void tryReclaim() {
  Objects unused;
  Domain& all = domain();
  const std::unique_lock lock(all.mutex, std::try_to_lock);
  if (lock.owns_lock()) unused = takeUnused(all);
}

}  // namespace vantrel::platform::detail
