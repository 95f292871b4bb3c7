#include "vantrel/buffers/queue.h"

#include "vantrel/buffers/queue_internal.h"

/* A failure to unlock outweighs what was done under the lock. */
static int8_t unlocked(queue_state* queue, int8_t result) {
  const int8_t unlock = queue_unlock_internal(queue);
  return unlock == QUEUE_OK ? result : unlock;
}

static int8_t put(queue_state* queue, void* item, queue_wait wait) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return unlocked(queue, queue_put_internal(queue, item, wait));
}

static int8_t get(queue_state* queue, void** item, queue_wait wait, queue_filter filter, void* argument) {
  if (!item) return QUEUE_ERR_NULL;
  *item = NULL;
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return unlocked(queue, queue_get_internal(queue, item, wait, filter, argument));
}

static int8_t flush(queue_state* queue, uint8_t release_items, queue_free release) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return unlocked(queue, queue_flush_internal(queue, release_items, release));
}

static int8_t flush_put(queue_state* queue, uint8_t release_items, queue_free release, void* item) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  queue_flush_internal(queue, release_items, release);
  return unlocked(queue, queue_put_internal(queue, item, NULL));
}

int8_t queue_destroy(queue_state* queue) { return queue_destroy_internal(queue, 0, NULL); }

int8_t queue_destroy_complete(queue_state* queue, queue_free release) {
  return queue_destroy_internal(queue, 1, release);
}

uint16_t queue_elements(queue_state* queue) {
  if (queue_lock_internal(queue) != QUEUE_OK) return QUEUE_ELEMENTS_ERR;
  const uint16_t count = queue->count;
  return queue_unlock_internal(queue) == QUEUE_OK ? count : QUEUE_ELEMENTS_ERR_UNLOCK;
}

int8_t queue_empty(queue_state* queue) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return unlocked(queue, !queue->first || !queue->last);
}

int8_t queue_set_new_data(queue_state* queue, uint8_t new_data) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  queue->new_data = new_data;
  if (new_data == 0) {
    /* Woken before the mutex is let go: a consumer that finds the queue closed may well be the one that
     * destroys it, and then the conditions are no more. */
    pthread_cond_broadcast(queue->cond_get);
    pthread_cond_broadcast(queue->cond_put);
  }
  return queue_unlock_internal(queue);
}

uint8_t queue_get_new_data(queue_state* queue) {
  if (queue_lock_internal(queue) != QUEUE_OK) return 0;
  const uint8_t new_data = queue->new_data;
  return queue_unlock_internal(queue) == QUEUE_OK ? new_data : 0;
}

int8_t queue_flush(queue_state* queue) { return flush(queue, 0, NULL); }

int8_t queue_flush_complete(queue_state* queue, queue_free release) { return flush(queue, 1, release); }

int8_t queue_put(queue_state* queue, void* item) { return put(queue, item, NULL); }

int8_t queue_put_wait(queue_state* queue, void* item) { return put(queue, item, pthread_cond_wait); }

int8_t queue_flush_put(queue_state* queue, queue_free release, void* item) {
  (void)release;
  return flush_put(queue, 0, NULL, item);
}

int8_t queue_flush_complete_put(queue_state* queue, queue_free release, void* item) {
  return flush_put(queue, 1, release, item);
}

int8_t queue_get_pre(queue_state* queue, void** item) {
  if (!item) return QUEUE_ERR_NULL;
  *item = NULL;
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  if (queue->count == 0) return unlocked(queue, QUEUE_ERR_COUNT);
  if (!queue->first) return unlocked(queue, QUEUE_ERR_NULL);
  *item = queue->first->item;
  return unlocked(queue, QUEUE_OK);
}

int8_t queue_get(queue_state* queue, void** item) { return get(queue, item, NULL, NULL, NULL); }

int8_t queue_get_wait(queue_state* queue, void** item) {
  return get(queue, item, pthread_cond_wait, NULL, NULL);
}

int8_t queue_get_filtered(queue_state* queue, void** item, queue_filter filter, void* argument) {
  return get(queue, item, NULL, filter, argument);
}
