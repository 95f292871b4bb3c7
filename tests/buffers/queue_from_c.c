/* Uses the blocking queue as a program written in C does. */
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>

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

/* Puts 1 to 10000 and closes. */
static void* produce(void* queue) {
  for (int i = 1; i <= 10000; ++i) {
    int* const made = malloc(sizeof *made);
    if (!made) break;
    *made = i;
    if (queue_put_wait(queue, made) != QUEUE_OK) free(made);
  }
  queue_set_new_data(queue, 0);
  return NULL;
}

static void passes_items_between_threads(void) {
  queue_state* const queue = queue_create_limited(10);
  pthread_t producer;
  void* item = NULL;
  int last = 0;
  int8_t result;
  expect(pthread_create(&producer, NULL, produce, queue) == 0, "a thread");
  while ((result = queue_get_wait(queue, &item)) == QUEUE_OK) {
    expect(*(int*)item == ++last, "items in order");
    free(item);
  }
  expect(result == QUEUE_ERR_CLOSED && item == NULL && last == 10000, "all the items, then closed");
  pthread_join(producer, NULL);
  expect(queue_destroy_complete(queue, NULL) == 0, "a destroy");
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
  passes_items_between_threads();
  return failures != 0;
}
