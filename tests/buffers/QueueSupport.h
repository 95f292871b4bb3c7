#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "vantrel/buffers/detail/queue_internal.h"

namespace vantrel::tests {

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
inline std::vector<std::intptr_t> contents(const QueueHandle& queue) {
  std::vector<std::intptr_t> numbers;
  queue_lock_internal(queue.get());
  const queue_entry* last = nullptr;
  for (const queue_entry* entry = queue->first; entry; entry = entry->next) {
    numbers.push_back(number(entry->item));
    last = entry;
  }
  EXPECT_EQ(queue->last, last);
  EXPECT_EQ(queue->count, numbers.size());
  queue_unlock_internal(queue.get());
  return numbers;
}

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
