#include "tests/buffers/QueueSupport.h"

#include <gtest/gtest.h>

std::vector<std::intptr_t> vantrel::tests::contents(queue_state* queue) {
  std::vector<std::intptr_t> numbers;
  queue_lock_internal(queue);
  const queue_entry* last = nullptr;
  for (const queue_entry* entry = queue->first; entry; entry = entry->next) {
    numbers.push_back(number(entry->item));
    last = entry;
  }
  EXPECT_EQ(queue->last, last);
  EXPECT_EQ(queue->count, numbers.size());
  queue_unlock_internal(queue);
  return numbers;
}
