/* What the public operations of the blocking queue are made of. All but locking and destroying run with the
 * queue's mutex held. C11 and C++20.
 */
#ifndef VANTREL_BUFFERS_QUEUE_INTERNAL_H
#define VANTREL_BUFFERS_QUEUE_INTERNAL_H

#include <stdbool.h>
#include <stddef.h>

#include "vantrel/buffers/queue.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Gives up the mutex, waits for the condition and takes the mutex again: pthread_cond_wait. */
typedef int (*queue_wait)(pthread_cond_t* condition, pthread_mutex_t* mutex);

/* What queue_state.mutex points into; all of it is guarded by the mutex. The counts tell whom to signal, and
 * who has to leave before the queue can be released: a thread that was woken still reads the record and lets
 * the mutex go, maybe long after. */
typedef struct queue_guard {
  pthread_mutex_t mutex; /* first, so that a pointer to it is one to the guard */
  pthread_cond_t all_left;
  unsigned waiting_get; /* in the wait operation */
  unsigned waiting_put;
  unsigned stepped_aside; /* about to wait, but gave the others a turn before */
  uint8_t destroying;
  queue_entry* spare; /* the entry taken last, for the next put; may be null */
} queue_guard;

static inline queue_guard* queue_guard_of(queue_state* queue) { return (queue_guard*)queue->mutex; }

/* 65535 would not be told from the error result of queue_elements. */
static inline bool queue_full_internal(const queue_state* queue) {
  return queue->count == 65534 || (queue->max_count != 0 && queue->count == queue->max_count);
}

/* Where queues and entries come from: malloc, unless a test of running out of memory puts something else
 * here. They go to free. */
extern void* (*queue_allocate_internal)(size_t size);

/* QUEUE_OK, QUEUE_ERR_NULL or QUEUE_ERR_LOCK. */
int8_t queue_lock_internal(queue_state* queue);
int8_t queue_unlock_internal(queue_state* queue);

/* Unlocks and passes the result on, which a failure to unlock outweighs. */
int8_t queue_unlock_with_internal(queue_state* queue, int8_t result);

/* Without a wait operation (null) a full or empty queue gives QUEUE_ERR_COUNT. */
int8_t queue_put_internal(queue_state* queue, void* item, queue_wait wait);
int8_t queue_get_internal(queue_state* queue, void** item, queue_wait wait, queue_filter filter,
                          void* argument);

/* Returns QUEUE_OK when there is room, or an item; else why not. Without a wait operation QUEUE_ERR_COUNT. */
int8_t queue_wait_for_room_internal(queue_state* queue, queue_wait wait);
int8_t queue_wait_for_item_internal(queue_state* queue, queue_wait wait);

/* Puts an entry that holds its item into its place in a queue that is not empty, before its equals. */
void queue_insert_sorted_internal(queue_state* queue, queue_entry* added);

/* The first entry that the filter selects, with the one before it, null for the first; null when there is
 * none. */
queue_entry* queue_select_internal(const queue_state* queue, queue_filter filter, void* argument,
                                   queue_entry** previous);

/* Always QUEUE_OK for a queue. */
int8_t queue_flush_internal(queue_state* queue, uint8_t release_items, queue_free release);

/* Without the mutex held: takes it, and the queue is gone when it returns. */
int8_t queue_destroy_internal(queue_state* queue, uint8_t release_items, queue_free release);

#ifdef __cplusplus
}
#endif

#endif
