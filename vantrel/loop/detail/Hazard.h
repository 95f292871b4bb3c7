#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>

/// Lets readers use an immutable object without a lock or a count while writers replace it: a reader
/// announces the pointer that it is about to use (a hazard pointer), and what a writer has taken out of use
/// is destroyed only once nobody announces it.
///
/// Readers may be real-time threads: they neither lock, free nor call the system, and allocate only where
/// more than `HazardRecord::kReady` records are in use at once.
namespace vantrel::loop::detail {

/// What readers use and writers replace.
struct Retirable {
  Retirable() = default;
  Retirable(const Retirable&) {}
  Retirable& operator=(const Retirable&) = delete;
  virtual ~Retirable() = default;

  Retirable* nextRetired = nullptr;  ///< so that retiring needs no memory
};

/// What one thread announces. A thread that nests deeper than the slots takes a further record for as long.
/// Records are never given back to the system: a thread that ends leaves its own to the next.
struct alignas(64) HazardRecord {
  static constexpr std::size_t kSlots = 8;
  static constexpr std::size_t kReady = 64;

  // The thread's own, except that everybody may read what is announced.
  std::array<std::atomic<const Retirable*>, kSlots> announced{};
  std::size_t used = 0;
  HazardRecord* outer = nullptr;  ///< the same thread's, full

  std::atomic<bool> taken{true};
  HazardRecord* next = nullptr;

  /// The calling thread's, with a free slot.
  static HazardRecord& withRoom() { return current && current->used < kSlots ? *current : takeAnother(); }

  /// Takes back the last announcement.
  void leave() {
    announced[--used].store(nullptr, std::memory_order_release);
    if (used == 0 && outer) giveBack();
  }

  /// For the end of a thread, with what it took first.
  static void threadEnds(void* record);

 private:
  static HazardRecord& takeAnother();
  void giveBack();

  static constinit thread_local HazardRecord* current;
};

/// Destroys `object`, which no reader can find any more, once nobody announces it: now, when something else
/// is retired, or in a turn of the main loop, which is asked to look again after growing pauses of at most a
/// second while anything waits. Never on a reader's behalf.
void retire(std::unique_ptr<Retirable> object) noexcept;

/// Whether writers fence for the readers too (see `fenceAllThreads`): the readers' side, which runs often,
/// then needs no fence of its own.
extern const bool writersFence;

/// Keeps what `source` points to alive for a scope. May be nested.
template <typename T>
class HazardGuard {
 public:
  explicit HazardGuard(const std::atomic<const T*>& source) : record_(HazardRecord::withRoom()) {
    std::atomic<const Retirable*>& slot = record_.announced[record_.used++];
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

  ~HazardGuard() { record_.leave(); }

  HazardGuard(const HazardGuard&) = delete;
  HazardGuard& operator=(const HazardGuard&) = delete;

  const T* operator->() const { return object_; }
  const T& operator*() const { return *object_; }

 private:
  HazardRecord& record_;
  const T* object_;
};

}  // namespace vantrel::loop::detail
