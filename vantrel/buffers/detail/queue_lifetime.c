/* How a queue comes to be and how it goes. */
#include <errno.h>
#include <stdlib.h>
#include <threads.h>

#include "vantrel/buffers/detail/queue_internal.h"

void* (*queue_allocate_internal)(size_t size) = malloc;

static queue_guard* create_guard(void) {
  queue_guard* const guard = queue_allocate_internal(sizeof *guard);
  if (!guard) return NULL;
  if (pthread_mutex_init(&guard->mutex, NULL) == 0) {
    if (pthread_cond_init(&guard->all_left, NULL) == 0) {
      guard->waiting_get = guard->waiting_put = guard->stepped_aside = 0;
      guard->destroying = 0;
      guard->spare = NULL;
      return guard;
    }
    pthread_mutex_destroy(&guard->mutex);
  }
  free(guard);
  return NULL;
}

static pthread_cond_t* create_condition(void) {
  pthread_cond_t* const condition = queue_allocate_internal(sizeof *condition);
  if (condition && pthread_cond_init(condition, NULL) != 0) {
    free(condition);
    return NULL;
  }
  return condition;
}

static void release_condition(pthread_cond_t* condition) {
  if (!condition) return;
  pthread_cond_destroy(condition);
  free(condition);
}

/* The conditions that there are, and the record. */
static void release_record(queue_state* queue) {
  release_condition(queue->cond_get);
  release_condition(queue->cond_put);
  free(queue);
}

queue_state* queue_create_limited(uint16_t max_count) {
  queue_state* const queue = queue_allocate_internal(sizeof *queue);
  if (!queue) return NULL;
  *queue = (queue_state){.max_count = max_count, .new_data = 1, .ascending = 1};
  queue_guard* const guard = create_guard();
  if (guard) {
    queue->mutex = &guard->mutex;
    queue->cond_get = create_condition();
    queue->cond_put = queue->cond_get ? create_condition() : NULL;
    if (queue->cond_put) return queue;
    pthread_cond_destroy(&guard->all_left);
    pthread_mutex_destroy(&guard->mutex);
    free(guard);
  }
  release_record(queue);
  return NULL;
}

queue_state* queue_create(void) { return queue_create_limited(0); }

queue_state* queue_create_limited_sorted(uint16_t max_count, int8_t ascending, queue_compare compare) {
  if (!compare) return NULL;
  queue_state* const queue = queue_create_limited(max_count);
  if (!queue) return NULL;
  queue->sorted = 1;
  queue->ascending = (uint8_t)ascending;
  queue->compare = compare;
  return queue;
}

queue_state* queue_create_sorted(int8_t ascending, queue_compare compare) {
  return queue_create_limited_sorted(0, ascending, compare);
}

/* Someone else may still hold the mutex or wait on a condition of their own with it. */
static int destroy_mutex(pthread_mutex_t* mutex) {
  const struct timespec pause = {0, 100000000}; /* 100 ms */
  int result;
  while ((result = pthread_mutex_destroy(mutex)) == EBUSY) thrd_sleep(&pause, NULL);
  return result;
}

static int8_t destroy(queue_state* queue, uint8_t release_items, queue_free release) {
  queue_set_new_data(queue, 0);
  queue_lock_internal(queue);
  queue_flush_internal(queue, release_items, release);

  /* The woken have to take the mutex to leave, read the record and let the mutex go. Each counts itself off
   * with the mutex held; so once this thread has it and the counts are zero, the last one has let it go and
   * touches nothing more. */
  queue_guard* const guard = queue_guard_of(queue);
  guard->destroying = 1;
  while (guard->waiting_get + guard->waiting_put + guard->stepped_aside > 0) {
    if (pthread_cond_wait(&guard->all_left, &guard->mutex) != 0) break;
  }
  queue_unlock_internal(queue);

  const int result = destroy_mutex(&guard->mutex);
  pthread_cond_destroy(&guard->all_left);
  free(guard->spare);
  free(guard);
  release_record(queue);
  return (int8_t)result;
}

int8_t queue_destroy_internal(queue_state* queue, uint8_t release_items, queue_free release) {
  if (!queue) return QUEUE_ERR_NULL;
  /* It waits for others, and nobody could finish what a cancelled thread leaves half destroyed. */
  int before;
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before);
  const int8_t result = destroy(queue, release_items, release);
  pthread_setcancelstate(before, &before);
  return result;
}

int8_t queue_destroy(queue_state* queue) { return queue_destroy_internal(queue, 0, NULL); }

int8_t queue_destroy_complete(queue_state* queue, queue_free release) {
  return queue_destroy_internal(queue, 1, release);
}
