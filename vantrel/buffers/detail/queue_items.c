/* Putting and getting. Locking, the internal operations and the public ones stand together and what is rare
 * stands elsewhere, so that the compiler makes one function of a put or a get; calls would add a fifth. */
#include <stdlib.h>

#include "vantrel/buffers/detail/queue_internal.h"

int8_t queue_lock_internal(queue_state* queue) {
  if (!queue) return QUEUE_ERR_NULL;
  return pthread_mutex_lock(queue->mutex) == 0 ? QUEUE_OK : QUEUE_ERR_LOCK;
}

int8_t queue_unlock_internal(queue_state* queue) {
  if (!queue) return QUEUE_ERR_NULL;
  return pthread_mutex_unlock(queue->mutex) == 0 ? QUEUE_OK : QUEUE_ERR_LOCK;
}

int8_t queue_unlock_with_internal(queue_state* queue, int8_t result) {
  const int8_t unlock = queue_unlock_internal(queue);
  return unlock == QUEUE_OK ? result : unlock;
}

static queue_entry* make_entry(queue_guard* guard) {
  queue_entry* const spare = guard->spare;
  if (!spare) return queue_allocate_internal(sizeof *spare);
  guard->spare = NULL;
  return spare;
}

/* One entry is kept for the next put: where puts and gets take turns, that saves each pair a third of its
 * time, which malloc and free took. */
static void discard_entry(queue_guard* guard, queue_entry* entry) {
  if (guard->spare) {
    free(entry);
  } else {
    guard->spare = entry;
  }
}

static void append(queue_state* queue, queue_entry* entry) {
  entry->next = NULL;
  if (queue->last) {
    queue->last->next = entry;
  } else {
    queue->first = entry;
  }
  queue->last = entry;
}

int8_t queue_put_internal(queue_state* queue, void* item, queue_wait wait) {
  if (!queue) return QUEUE_ERR_NULL;
  if (queue->new_data == 0) return QUEUE_ERR_CLOSED;
  if (queue_full_internal(queue)) {
    const int8_t waited = queue_wait_for_room_internal(queue, wait);
    if (waited != QUEUE_OK) return waited;
  }
  queue_guard* const guard = queue_guard_of(queue);
  queue_entry* const entry = make_entry(guard);
  if (!entry) return QUEUE_ERR_MEMORY;
  entry->item = item;
  if (queue->sorted && queue->last) {
    queue_insert_sorted_internal(queue, entry);
  } else {
    append(queue, entry);
  }
  ++queue->count;
  if (guard->waiting_get > 0) pthread_cond_signal(queue->cond_get);
  return QUEUE_OK;
}

int8_t queue_get_internal(queue_state* queue, void** item, queue_wait wait, queue_filter filter,
                          void* argument) {
  if (!item) return QUEUE_ERR_NULL;
  *item = NULL;
  if (!queue) return QUEUE_ERR_NULL;
  if (queue->count == 0) {
    const int8_t waited = queue_wait_for_item_internal(queue, wait);
    if (waited != QUEUE_OK) return waited;
  }
  queue_entry* previous = NULL;
  queue_entry* const entry =
      filter ? queue_select_internal(queue, filter, argument, &previous) : queue->first;
  if (!entry) return QUEUE_ERR_NO_MATCH;
  if (previous) {
    previous->next = entry->next;
  } else {
    queue->first = entry->next;
  }
  if (!entry->next) queue->last = previous;
  --queue->count;
  *item = entry->item;
  queue_guard* const guard = queue_guard_of(queue);
  discard_entry(guard, entry);
  if (guard->waiting_put > 0) pthread_cond_signal(queue->cond_put);
  return QUEUE_OK;
}

static int8_t put(queue_state* queue, void* item, queue_wait wait) {
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return queue_unlock_with_internal(queue, queue_put_internal(queue, item, wait));
}

static int8_t get(queue_state* queue, void** item, queue_wait wait, queue_filter filter, void* argument) {
  if (!item) return QUEUE_ERR_NULL;
  *item = NULL;
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  return queue_unlock_with_internal(queue, queue_get_internal(queue, item, wait, filter, argument));
}

int8_t queue_put(queue_state* queue, void* item) { return put(queue, item, NULL); }

int8_t queue_put_wait(queue_state* queue, void* item) { return put(queue, item, pthread_cond_wait); }

int8_t queue_get(queue_state* queue, void** item) { return get(queue, item, NULL, NULL, NULL); }

int8_t queue_get_wait(queue_state* queue, void** item) {
  return get(queue, item, pthread_cond_wait, NULL, NULL);
}

int8_t queue_get_filtered(queue_state* queue, void** item, queue_filter filter, void* argument) {
  return get(queue, item, NULL, filter, argument);
}

int8_t queue_get_pre(queue_state* queue, void** item) {
  if (!item) return QUEUE_ERR_NULL;
  *item = NULL;
  const int8_t lock = queue_lock_internal(queue);
  if (lock != QUEUE_OK) return lock;
  int8_t result = QUEUE_OK;
  if (queue->count == 0) {
    result = QUEUE_ERR_COUNT;
  } else if (!queue->first) {
    result = QUEUE_ERR_NULL;
  } else {
    *item = queue->first->item;
  }
  return queue_unlock_with_internal(queue, result);
}
