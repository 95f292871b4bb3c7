/* Uses the ring and the blocking queue as a program written in C does. */
#include <pthread.h>
#include <string.h>

#include "tests/support/Expect.h"
#include "vantrel/buffers/TPCircularBuffer.h"
#include "vantrel/buffers/queue.h"

static void mirrors_its_end(void) {
  TPCircularBuffer ring = {0};
  int32_t space = -1, filled = -1;
  expect(!TPCircularBufferWriteRegion(&ring, &space) && space == 0, "no room in a ring that is not made");
  expect(!TPCircularBufferReadRegion(&ring, &filled) && filled == 0, "nor anything to read");
  expect(TPCircularBufferInit(&ring, 1000), "a ring is made");
  TPCircularBufferSetAtomic(&ring, false);
  TPCircularBufferProduce(&ring, ring.length - 3);
  TPCircularBufferConsume(&ring, ring.length - 3);
  memcpy(TPCircularBufferWriteRegion(&ring, &space), "mirrored", 8);
  TPCircularBufferProduce(&ring, 8);
  expect(memcmp(ring.buffer, "rored", 5) == 0, "the end goes on at the beginning");
  expect(memcmp(TPCircularBufferReadRegion(&ring, &filled), "mirrored", 8) == 0, "it reads in one piece");
  expect(space == ring.length && filled == 8, "what was free and what there is to read");
  TPCircularBufferCleanup(&ring);
}

static int compare_numbers(void* a, void* b) { return *(const int*)a - *(const int*)b; }

static int select_odd(void** slot, void* asked) {
  ++*(int*)asked;
  return *(const int*)*slot % 2 == 0;
}

static void sorts_and_selects(void) {
  int numbers[] = {4, 1, 3, 2}, asked = 0;
  void* item = NULL;
  queue_state* const queue = queue_create_limited_sorted(4, 1, compare_numbers);
  for (int i = 0; i < 4; ++i) expect(queue_put(queue, &numbers[i]) == QUEUE_OK, "a put");
  expect(queue_get(queue, &item) == QUEUE_OK && item == &numbers[1], "the smallest first");
  expect(
      queue_get_filtered(queue, &item, select_odd, &asked) == QUEUE_OK && item == &numbers[2] && asked == 2,
      "the odd one, asked about 2 and 3 only");
  expect(queue->count == 2 && queue->first->item == &numbers[3], "fields to read");
  expect(queue->max_count == 4 && queue->new_data == 1 && queue->ascending == 1, "how it was made");
  expect(queue_destroy(queue) == 0, "a destroy");
}

static void* get_wait(void* queue) {
  void* item;
  queue_get_wait(queue, &item);
  return NULL;
}

static void* put_wait(void* queue) {
  queue_put_wait(queue, queue);
  return NULL;
}

static void survives_a_cancelled_thread(void* (*wait)(void*), int items) {
  queue_state* const queue = queue_create_limited(1);
  pthread_t waiting;
  void* result = NULL;
  for (int i = 0; i < items; ++i) queue_put(queue, queue);
  expect(pthread_create(&waiting, NULL, wait, queue) == 0, "a thread");
  pthread_cancel(waiting); /* takes effect in the wait, however long the thread needs to get there */
  expect(pthread_join(waiting, &result) == 0 && result == PTHREAD_CANCELED, "a cancelled thread");
  if (pthread_mutex_trylock(queue->mutex) != 0) {
    expect(0, "a mutex that is free");
    return;
  }
  pthread_mutex_unlock(queue->mutex);
  expect(queue_elements(queue) == items, "the items as before");
  expect(queue_destroy(queue) == 0, "a destroy that waits for nobody");
}

int main(void) {
  mirrors_its_end();
  sorts_and_selects();
  survives_a_cancelled_thread(get_wait, 0);
  survives_a_cancelled_thread(put_wait, 1);
  return failures != 0;
}
