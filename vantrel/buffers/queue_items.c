/* Putting, getting and flushing, with the queue's mutex held. */
#include <stdbool.h>
#include <stdlib.h>

#include "vantrel/buffers/queue_internal.h"

/* One less than the 16-bit count can tell, which is the error result of queue_elements. */
static const uint16_t capacity = 65534;

int8_t queue_lock_internal(queue_state* queue) {
  if (!queue) return QUEUE_ERR_NULL;
  return pthread_mutex_lock(queue->mutex) == 0 ? QUEUE_OK : QUEUE_ERR_LOCK;
}

int8_t queue_unlock_internal(queue_state* queue) {
  if (!queue) return QUEUE_ERR_NULL;
  return pthread_mutex_unlock(queue->mutex) == 0 ? QUEUE_OK : QUEUE_ERR_LOCK;
}

static bool full(const queue_state* queue) {
  return queue->count == capacity || (queue->max_count != 0 && queue->count == queue->max_count);
}

/* Waits once and is counted among the waiting meanwhile. The thread still holds the mutex after it, so a
 * destroy that sees the count at zero also knows that the thread has left. */
static void wait_counted(queue_state* queue, pthread_cond_t* condition, unsigned* waiting, queue_wait wait) {
  queue_guard* const guard = queue_guard_of(queue);
  ++*waiting;
  wait(condition, queue->mutex);
  --*waiting;
  if (guard->destroying) pthread_cond_signal(&guard->all_left);
}

/* Calls into the condition only when someone is there. */
static void signal_one(pthread_cond_t* condition, unsigned waiting) {
  if (waiting > 0) pthread_cond_signal(condition);
}

static bool in_order(const queue_state* queue, void* before, void* after) {
  const int order = queue->compare(before, after);
  return queue->ascending ? order <= 0 : order >= 0;
}

/* Where the new entry is to be linked in. An item goes before its equals. */
static queue_entry** place_of(queue_state* queue, void* item) {
  if (!queue->last) return &queue->first;
  if (queue->sorted) {
    const int order = queue->compare(queue->first->item, item);
    if (queue->ascending ? order >= 0 : order <= 0) return &queue->first;
    for (queue_entry* entry = queue->first; entry->next; entry = entry->next) {
      if (in_order(queue, entry->item, item) && in_order(queue, item, entry->next->item)) return &entry->next;
    }
  }
  return &queue->last->next;
}

int8_t queue_put_internal(queue_state* queue, void* item, queue_wait wait) {
  if (!queue) return QUEUE_ERR_NULL;
  if (queue->new_data == 0) return QUEUE_ERR_CLOSED;
  queue_guard* const guard = queue_guard_of(queue);
  while (full(queue)) {
    if (!wait) return QUEUE_ERR_COUNT;
    wait_counted(queue, queue->cond_put, &guard->waiting_put, wait);
    if (queue->new_data == 0) return QUEUE_ERR_CLOSED;
  }
  queue_entry* const entry = queue_allocate_internal(sizeof *entry);
  if (!entry) return QUEUE_ERR_MEMORY;
  queue_entry** const place = place_of(queue, item);
  entry->item = item;
  entry->next = *place;
  *place = entry;
  if (!entry->next) queue->last = entry;
  ++queue->count;
  signal_one(queue->cond_get, guard->waiting_get);
  return QUEUE_OK;
}

/* Null when the filter passes over everything. *previous is the entry before, null for the first. */
static queue_entry* select_entry(queue_state* queue, queue_filter filter, void* argument,
                                 queue_entry** previous) {
  *previous = NULL;
  queue_entry* entry = queue->first;
  if (!filter) return entry;
  while (entry && filter(&entry->item, argument) != 0) {
    *previous = entry;
    entry = entry->next;
  }
  return entry;
}

static void unlink_entry(queue_state* queue, queue_entry* entry, queue_entry* previous) {
  if (previous) {
    previous->next = entry->next;
  } else {
    queue->first = entry->next;
  }
  if (!entry->next) queue->last = previous;
}

int8_t queue_get_internal(queue_state* queue, void** item, queue_wait wait, queue_filter filter,
                          void* argument) {
  if (!item) return QUEUE_ERR_NULL;
  *item = NULL;
  if (!queue) return QUEUE_ERR_NULL;
  queue_guard* const guard = queue_guard_of(queue);
  while (queue->count == 0) {
    if (!wait) return QUEUE_ERR_COUNT;
    if (queue->new_data == 0) return QUEUE_ERR_CLOSED;
    wait_counted(queue, queue->cond_get, &guard->waiting_get, wait);
  }
  queue_entry* previous;
  queue_entry* const entry = select_entry(queue, filter, argument, &previous);
  if (!entry) return QUEUE_ERR_NO_MATCH;
  unlink_entry(queue, entry, previous);
  --queue->count;
  *item = entry->item;
  free(entry);
  signal_one(queue->cond_put, guard->waiting_put);
  return QUEUE_OK;
}

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
