#include "vantrel/loop/detail/Hazard.h"

#include <linux/membarrier.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <utility>

#include "vantrel/base/Mutex.h"
#include "vantrel/loop/MainQueue.h"

namespace vantrel::loop::detail {

// Until this is initialised readers fence for themselves, which is right at any time.
const bool writersFence = syscall(SYS_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0, 0) == 0;

constinit thread_local HazardRecord* HazardRecord::current = nullptr;

namespace {

/// Makes every thread of the process pass a full fence: what a reader announced before is visible here after,
/// and what it reads after is no older than this. Costs microseconds, but changes are rare.
void fenceAllThreads() {
  if (writersFence) syscall(SYS_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0, 0);
}

// Nothing here has a destructor that does anything: threads may read while the process exits.
constinit std::array<HazardRecord, HazardRecord::kReady> ready{};
constinit std::atomic<std::size_t> readyUsed{0};
constinit std::atomic<HazardRecord*> records{nullptr};  ///< all that were ever taken

HazardRecord& takeRecord() {
  for (HazardRecord* record = records.load(); record; record = record->next) {
    if (!record->taken.load(std::memory_order_relaxed) && !record->taken.exchange(true)) return *record;
  }
  const std::size_t index = readyUsed.fetch_add(1);
  HazardRecord* const made = index < ready.size() ? &ready[index] : new HazardRecord;
  made->next = records.load();
  while (!records.compare_exchange_weak(made->next, made)) {
  }
  return *made;
}

// Calls back at the end of each thread that asks. A thread-local object with a destructor would do the same,
// but takes memory for each thread.
constexpr std::int64_t kNone = -1;
constinit std::atomic<std::int64_t> threadEndKey{kNone};

struct ThreadEnds {
  explicit ThreadEnds(void (*call)(void*)) {
    pthread_key_t key;
    if (pthread_key_create(&key, call) == 0) threadEndKey = key;
  }
  ~ThreadEnds() {
    // The code may be unloaded from here on.
    if (const std::int64_t key = threadEndKey.exchange(kNone); key != kNone) pthread_key_delete(keyOf(key));
  }
  static pthread_key_t keyOf(std::int64_t key) { return static_cast<pthread_key_t>(key); }
};

// What writers share.
constinit Mutex mutex;
constinit Retirable* retired VANTREL_GUARDED_BY(mutex) = nullptr;
constinit bool mainLoopAsked VANTREL_GUARDED_BY(mutex) = false;

bool isAnnounced(const Retirable* object) {
  for (const HazardRecord* record = records.load(); record; record = record->next) {
    for (const auto& slot : record->announced) {
      if (slot.load(std::memory_order_seq_cst) == object) return true;
    }
  }
  return false;
}

/// The caller destroys what is returned once the mutex is free: destructors run foreign code.
[[nodiscard]] Retirable* takeUnused() VANTREL_REQUIRES(mutex) {
  Retirable* unused = nullptr;
  for (Retirable** link = &retired; Retirable* const each = *link;) {
    if (isAnnounced(each)) {
      link = &each->nextRetired;
    } else {
      *link = std::exchange(each->nextRetired, unused);
      unused = each;
    }
  }
  return unused;
}

void destroy(Retirable* list) {
  while (list) {
    const std::unique_ptr<Retirable> first(list);
    list = first->nextRetired;
  }
}

constexpr Duration kFirstPause = std::chrono::milliseconds(1);
constexpr Duration kLongestPause = std::chrono::seconds(1);

/// When the main loop cannot be asked, the next writer does it.
template <typename Ask>
void askMainLoop(const Ask& ask) noexcept {
  try {
    ask();
  } catch (...) {
    const MutexLock lock(mutex);
    mainLoopAsked = false;
  }
}

void lookAgain(Duration pause) {
  Retirable* unused = nullptr;
  bool waits = false;
  {
    const MutexLock lock(mutex);
    unused = takeUnused();
    mainLoopAsked = waits = retired != nullptr;
  }
  destroy(unused);
  const Duration next = std::min(2 * pause, kLongestPause);
  if (waits) askMainLoop([&] { MainQueue::postAfter(pause, [next] { lookAgain(next); }); });
}

}  // namespace

HazardRecord& HazardRecord::takeAnother() {
  HazardRecord& record = takeRecord();
  record.outer = current;
  // Where this fails the record is lost when the thread ends, and no more.
  const std::int64_t key = threadEndKey.load();
  if (!current && key != kNone) pthread_setspecific(ThreadEnds::keyOf(key), &record);
  return *(current = &record);
}

void HazardRecord::threadEnds(void* record) {
  current = nullptr;
  static_cast<HazardRecord*>(record)->taken.store(false, std::memory_order_release);
}

static const ThreadEnds threadEnds(HazardRecord::threadEnds);

void HazardRecord::giveBack() {
  current = std::exchange(outer, nullptr);
  taken.store(false, std::memory_order_release);
}

void retire(std::unique_ptr<Retirable> object) noexcept {
  // Now, and not again for a later look: who starts to read from here on does not find the object.
  fenceAllThreads();
  Retirable* unused = nullptr;
  bool asks = false;
  {
    const MutexLock lock(mutex);
    object->nextRetired = std::exchange(retired, object.get());
    static_cast<void>(object.release());
    unused = takeUnused();
    asks = retired && !std::exchange(mainLoopAsked, true);
  }
  if (asks) askMainLoop([] { MainQueue::post([] { lookAgain(kFirstPause); }); });
  destroy(unused);
}

}  // namespace vantrel::loop::detail
