#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>

/// Lets readers use an immutable object without a lock or a count while writers replace it: a reader
/// announces the pointer that it is about to use (a hazard pointer), and what a writer has taken out of use
/// is destroyed only once nobody announces it.
namespace vantrel::platform::detail {

/// What one thread announces. The members are the thread's own, the announcements everybody's to read.
struct HazardRecord {
  static constexpr std::size_t kSlots = 4;

  HazardRecord();
  ~HazardRecord();
  HazardRecord(const HazardRecord&) = delete;
  HazardRecord& operator=(const HazardRecord&) = delete;

  /// The calling thread's; null while the thread ends.
  static HazardRecord* ofThisThread() { return current ? current : makeForThisThread(); }

  static HazardRecord* makeForThisThread();
  static constinit thread_local HazardRecord* current;

  std::array<std::atomic<const void*>, kSlots> announced{};
  std::size_t used = 0;
  HazardRecord* next = nullptr;
  HazardRecord** link = nullptr;
};

/// Destroys `object`, which no reader can find any more, once nobody announces it: now, or at the end of a
/// later read.
void retire(std::shared_ptr<const void> object);

/// Whether something retired still waits.
extern std::atomic<bool> retiredWaits;

/// Whether writers fence for the readers too (see `fenceAllThreads`): the readers' side, which runs often,
/// then needs no fence of its own.
extern const bool writersFence;

/// Destroys what nobody announces any more, unless another thread is at it.
void tryReclaim();

/// Keeps what `source` points to alive for a scope. May be nested.
template <typename T>
class HazardGuard {
 public:
  explicit HazardGuard(const std::atomic<const T*>& source) {
    if (!record_ || record_->used == HazardRecord::kSlots) record_ = &spare_.emplace();
    std::atomic<const void*>& slot = record_->announced[record_->used++];
    object_ = source.load(std::memory_order_acquire);
    for (;;) {
      // The announcement must be visible before the pointer is read again: a writer that misses it has
      // replaced the pointer before that.
      if (writersFence) {
        slot.store(object_, std::memory_order_release);
        std::atomic_signal_fence(std::memory_order_seq_cst);
      } else {
        slot.exchange(object_, std::memory_order_seq_cst);
      }
      const T* const again = source.load(std::memory_order_seq_cst);
      if (again == object_) return;
      object_ = again;
    }
  }

  ~HazardGuard() {
    record_->announced[--record_->used].store(nullptr, std::memory_order_release);
    if (retiredWaits.load(std::memory_order_relaxed) && record_->used == 0) tryReclaim();
  }

  HazardGuard(const HazardGuard&) = delete;
  HazardGuard& operator=(const HazardGuard&) = delete;

  const T* operator->() const { return object_; }
  const T& operator*() const { return *object_; }

 private:
  std::optional<HazardRecord> spare_;  ///< for what nests deeper than a thread's slots
  HazardRecord* record_ = HazardRecord::ofThisThread();
  const T* object_;
};

}  // namespace vantrel::platform::detail
