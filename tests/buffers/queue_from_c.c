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
  return failures != 0;
}
