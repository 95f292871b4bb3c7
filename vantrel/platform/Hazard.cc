#include "vantrel/platform/Hazard.h"

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace vantrel::platform::detail {
namespace {

using Objects = std::vector<std::shared_ptr<const void>>;

struct Domain {
  std::mutex mutex;
  HazardRecord* records = nullptr;
  Objects retired;
  std::atomic<bool> retiredWaits{false};
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
  all.retiredWaits.store(!all.retired.empty(), std::memory_order_relaxed);
  return taken;
}

constinit thread_local HazardRecord* recordOfThread = nullptr;
constinit thread_local bool threadEnds = false;

struct RecordOwner {
  RecordOwner() { recordOfThread = &record; }
  ~RecordOwner() {
    recordOfThread = nullptr;
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

HazardRecord* HazardRecord::ofThisThread() {
  if (recordOfThread || threadEnds) return recordOfThread;
  static thread_local RecordOwner owner;
  return recordOfThread;
}

void retire(std::shared_ptr<const void> object) {
  Objects unused;
  Domain& all = domain();
  const std::lock_guard lock(all.mutex);
  all.retired.push_back(std::move(object));
  unused = takeUnused(all);
}

bool retiredWaits() { return domain().retiredWaits.load(std::memory_order_relaxed); }

void tryReclaim() {
  Objects unused;
  Domain& all = domain();
  const std::unique_lock lock(all.mutex, std::try_to_lock);
  if (lock.owns_lock()) unused = takeUnused(all);
}

}  // namespace vantrel::platform::detail
