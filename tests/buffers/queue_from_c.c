/* Uses the blocking queue as a program written in C does. */
#include <pthread.h>
#include <stdio.h>

#include "vantrel/buffers/queue.h"

static int failures;

static void expect(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "does not hold: %s\n", what);
  ++failures;
}

static int compare_numbers(void* a, void* b) { return *(const int*)a - *(const int*)b; }

static int select_odd(void** slot, void* asked) {
  ++*(int*)asked;
  return *(const int*)*slot % 2 == 0;
}

static void* produce(void* queue) {
  static int number = 7;
  queue_put_wait(queue, &number);
  queue_set_new_data(queue, 0);
  return NULL;
}

static void passes_an_item_between_threads(void) {
  queue_state* const queue = queue_create();
  pthread_t producer;
  void* item = NULL;
  expect(pthread_create(&producer, NULL, produce, queue) == 0, "a thread");
  expect(queue_get_wait(queue, &item) == QUEUE_OK && *(int*)item == 7, "the item");
  expect(queue_get_wait(queue, &item) == QUEUE_ERR_CLOSED && item == NULL, "closed and empty");
  pthread_join(producer, NULL);
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
  int numbers[] = {4, 1, 3, 2}, asked = 0;
  void* item = NULL;
  queue_state* const queue = queue_create_limited_sorted(4, 1, compare_numbers);
  for (int i = 0; i < 4; ++i) expect(queue_put(queue, &numbers[i]) == QUEUE_OK, "a put");
  expect(queue_get(queue, &item) == QUEUE_OK && item == &numbers[1], "the smallest first");
  expect(queue_get_filtered(queue, &item, select_odd, &asked) == QUEUE_OK && item == &numbers[2],
         "the odd one");
  expect(asked == 2, "asked about 2 and 3 only");
  expect(queue->count == 2 && queue->first->item == &numbers[3], "fields to read");
  expect(queue_destroy(queue) == 0, "a destroy");
  passes_an_item_between_threads();
  survives_a_cancelled_thread(get_wait, 0);
  survives_a_cancelled_thread(put_wait, 1);
  return failures != 0;
}
