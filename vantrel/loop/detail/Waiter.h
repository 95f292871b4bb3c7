#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "vantrel/loop/RunLoop.h"

namespace vantrel::loop::detail {

/// What a run loop needs of the operating system: to sleep until a moment, a descriptor or another thread
/// wakes it. The one file to write for another system.
///
/// It works only while it is open. Somebody else in the process may close its descriptors, or whole ranges of
/// them; it then reports that they are lost, and never touches what has their numbers since.
///
/// Threads: `isOpen`, `wake`, `forget` and `sharesNumberWith` from any thread while no other one opens or
/// closes; the rest on the loop's own.
class Waiter {
 public:
  Waiter() = default;
  ~Waiter() { close(); }
  Waiter(const Waiter&) = delete;
  Waiter& operator=(const Waiter&) = delete;

  /// Takes descriptors of the system. False, with the reason in errno, when there are none.
  bool open();
  bool isOpen() const { return poll_.load(std::memory_order_relaxed) >= 0; }
  void close();

  /// In a forked child: descriptors of its own in place of the parent's; the number of `descriptor()` stays.
  /// It is not open afterwards where that failed. Watches are gone.
  void renewInChild();

  /// Whether the descriptors are the ones that were opened, as far as the system tells.
  bool isIntact() const;

  /// Not open from here on, with nothing closed: the descriptors are no longer its own.
  void forget();

  /// Whether one of its descriptors has the number of one of the other's.
  bool sharesNumberWith(const Waiter& other) const;

  /// Makes `descriptor()` readable and ends a `wait`, now or the next one, until that `wait` has reported it
  /// or `clearWake`. False when the descriptors are lost.
  bool wake() { return setWake(true); }
  void clearWake() { setWake(false); }

  /// Reports `token` while the descriptor is ready. False when the system refuses it.
  bool watch(int descriptor, RunLoop::Interest interest, std::uint64_t token);
  void unwatch(int descriptor);

  /// Calls `visit` with the tokens of at most `most` descriptors that are ready now; of a few of them where
  /// memory runs out. False when its own are lost.
  template <typename Visit>
  bool forEachReady(std::size_t most, const Visit& visit) {
    const auto call = [](const void* it, std::uint64_t token) { (*static_cast<const Visit*>(it))(token); };
    return visitReady(most, call, &visit);
  }

  /// A time as the system's waiting calls take it: at least 0, rounded up, as a wait that ends just before
  /// the moment would make the loop spin; -1 for none.
  static int milliseconds(std::optional<Duration> atMost);

  enum class Woken : std::uint8_t { ByWake, Otherwise, Lost };

  /// Sleeps until woken, which it then has taken, a descriptor is ready or the time is over; without a time
  /// for as long as it takes.
  Woken wait(std::optional<Duration> atMost);

  /// Readable while `wait` would return at once for another reason than time.
  int descriptor() const { return poll_.load(std::memory_order_relaxed); }

 private:
  using Call = void (*)(const void* visit, std::uint64_t token);
  bool visitReady(std::size_t most, Call call, const void* visit);
  bool openAs(int number);
  bool setWake(bool on);

  // Both or none. Atomic because other threads may make it forget while the loop's own sleeps.
  std::atomic<int> poll_{-1};
  std::atomic<int> event_{-1};
};

}  // namespace vantrel::loop::detail
