/* What the public operations of the blocking queue are made of. All but locking and destroying run with the
 * queue's mutex held. C11 and C++20.
 */
#ifndef VANTREL_BUFFERS_QUEUE_INTERNAL_H
#define VANTREL_BUFFERS_QUEUE_INTERNAL_H

#include <stddef.h>

#include "vantrel/buffers/queue.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Gives up the mutex, waits for the condition and takes the mutex again: pthread_cond_wait. */
typedef int (*queue_wait)(pthread_cond_t* condition, pthread_mutex_t* mutex);

/* What queue_state.mutex points into. The rest counts, under the mutex, who has to leave before the queue can
 * be released, so that a destroy does not pull the conditions and the record from under a thread that was
 * woken but has not run yet. */
typedef struct queue_guard {
  pthread_mutex_t mutex; /* first, so that a pointer to it is one to the guard */
  pthread_cond_t all_left;
  unsigned waiting_get;
  unsigned waiting_put;
  uint8_t destroying;
} queue_guard;

static inline queue_guard* queue_guard_of(queue_state* queue) { return (queue_guard*)queue->mutex; }

/* Where queues and entries come from: malloc, unless a test of running out of memory puts something else
 * here. They go to free. */
VANTREL_EXPORT extern void* (*queue_allocate_internal)(size_t size);

/* QUEUE_OK, QUEUE_ERR_NULL or QUEUE_ERR_LOCK. */
VANTREL_EXPORT int8_t queue_lock_internal(queue_state* queue);
VANTREL_EXPORT int8_t queue_unlock_internal(queue_state* queue);

/* Without a wait operation (null) a full or empty queue gives QUEUE_ERR_COUNT. */
VANTREL_EXPORT int8_t queue_put_internal(queue_state* queue, void* item, queue_wait wait);
VANTREL_EXPORT int8_t queue_get_internal(queue_state* queue, void** item, queue_wait wait,
                                         queue_filter filter, void* argument);

/* Always QUEUE_OK for a queue. */
VANTREL_EXPORT int8_t queue_flush_internal(queue_state* queue, uint8_t release_items, queue_free release);

/* Without the mutex held: takes it, and the queue is gone when it returns. */
VANTREL_EXPORT int8_t queue_destroy_internal(queue_state* queue, uint8_t release_items, queue_free release);

#ifdef __cplusplus
}
#endif

#endif
