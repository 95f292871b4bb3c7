#pragma once

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "vantrel/buffers/queue_internal.h"

namespace vantrel::tests {

// ThreadSanitizer calls the misuse of a mutex an error of the program, also where a test is about just that.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kMutexesAreWatched = true;
#elif defined(__has_feature)
inline constexpr bool kMutexesAreWatched = __has_feature(thread_sanitizer);
#else
inline constexpr bool kMutexesAreWatched = false;
#endif

struct DestroyQueue {
  void operator()(queue_state* queue) const { queue_destroy(queue); }
};

/// A queue that goes with its scope; its items stay with the test.
using QueueHandle = std::unique_ptr<queue_state, DestroyQueue>;

/// Items that are numbers: the queue never looks behind the pointer.
inline void* item(std::intptr_t number) { return reinterpret_cast<void*>(number); }
inline std::intptr_t number(const void* item) { return reinterpret_cast<std::intptr_t>(item); }

inline int compareNumbers(void* a, void* b) { return (number(a) > number(b)) - (number(a) < number(b)); }

/// Selects the item that is the argument.
inline int selectSame(void** slot, void* argument) { return *slot == argument ? 0 : 1; }

/// What the queue holds, from the front, with its invariants looked after.
std::vector<std::intptr_t> contents(queue_state* queue);

/// Returns once exactly so many threads are blocked in queue_get_wait and queue_put_wait.
inline void awaitBlocked(queue_state* queue, unsigned getters, unsigned putters) {
  for (bool reached = false; !reached; std::this_thread::yield()) {
    queue_lock_internal(queue);
    const queue_guard* const guard = queue_guard_of(queue);
    reached = guard->waiting_get == getters && guard->waiting_put == putters;
    queue_unlock_internal(queue);
  }
}

}  // namespace vantrel::tests
