/* State and flushing. */
#include "vantrel/buffers/queue.h"

#include <stdlib.h>

#include "vantrel/buffers/detail/queue_internal.h"

int8_t queue_flush_internal(queue_state* queue, uint8_t release_items, queue_free release) {
  if (!queue) return QUEUE_ERR_NULL;
  if (!release) release = free;
  for (queue_entry* entry = queue->first; entry;) {
    queue_entry* const next = entry->next;
    if (release_items) release(entry->item);
    free(entry);
    entry = next;
  }
  queue->first = queue->last = NULL;
  queue->count = 0;
  return QUEUE_OK;
}

static int8_t flush(queue_state* queue, uint8_t release_items, queue_free release) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return queue_unlock_with_internal(queue, queue_flush_internal(queue, release_items, release));
}

static int8_t flush_put(queue_state* queue, uint8_t release_items, queue_free release, void* item) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  queue_flush_internal(queue, release_items, release);
  return queue_unlock_with_internal(queue, queue_put_internal(queue, item, NULL));
}

uint16_t queue_elements(queue_state* queue) {
  if (queue_lock_internal(queue) != QUEUE_OK) return QUEUE_ELEMENTS_ERR;
  const uint16_t count = queue->count;
  return queue_unlock_internal(queue) == QUEUE_OK ? count : QUEUE_ELEMENTS_ERR_UNLOCK;
}

int8_t queue_empty(queue_state* queue) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return queue_unlock_with_internal(queue, !queue->first || !queue->last);
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

int8_t queue_flush_put(queue_state* queue, queue_free release, void* item) {
  (void)release;
  return flush_put(queue, 0, NULL, item);
}

int8_t queue_flush_complete_put(queue_state* queue, queue_free release, void* item) {
  return flush_put(queue, 1, release, item);
}
