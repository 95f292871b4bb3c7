/* A blocking queue of opaque item pointers, first in, first out. C11 and C++20.
 *
 * A queue can be bounded (a maximum number of items), sorted (items kept in order by a comparison of the
 * caller's) or both. A put into a full queue and a get from an empty one fail at once or, in the forms that
 * end in _wait, block. Closing the queue (queue_set_new_data with 0) refuses every further put and releases
 * whoever is blocked; the items that are still there can be taken, so consumers drain a closed queue and then
 * stop.
 *
 *   queue_state* lines = queue_create_limited(100);
 *   queue_put_wait(lines, line);                                   // producers, until they are done
 *   queue_set_new_data(lines, 0);                                  // no more will come
 *   while (queue_get_wait(lines, &line) == QUEUE_OK) use(line);    // consumers, until it is closed and empty
 *   queue_destroy_complete(lines, NULL);                           // after the last call of all the others
 *
 * Threads: any number may call at once; each call holds the queue's mutex for its whole duration, and the
 * waiting forms let go of it only while they wait. Comparison, filter and free functions run with the mutex
 * held and must not call back into the same queue, nor reach a point at which their thread can be cancelled.
 *
 * Cancellation (pthread_cancel, deferred): a thread can be cancelled where it waits in a waiting form. It
 * then has put or taken nothing, and the queue goes on for all the others. A destroy is never cancelled.
 *
 * Ownership: the queue never looks inside an item. Items belong to the caller, except that the operations
 * whose names hold _complete release the items that they drop. A failed put leaves the item with the caller.
 *
 * Capacity: a queue holds at most 65534 items, whatever its maximum.
 *
 * Every operation takes a null queue and answers QUEUE_ERR_NULL, unless it says otherwise. When the mutex
 * cannot be unlocked the answer is QUEUE_ERR_LOCK even though the work was done. Nothing is logged.
 */
#ifndef VANTREL_BUFFERS_QUEUE_H
#define VANTREL_BUFFERS_QUEUE_H

#include <pthread.h>
#include <stdint.h>

#include "vantrel/base/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What the operations that return a status return. -6 is never returned. */
enum {
  QUEUE_OK = 0,
  QUEUE_ERR_NULL = -1,     /* no queue, nowhere to put the item, or a peek at no entry where one is counted */
  QUEUE_ERR_LOCK = -2,     /* the mutex could not be locked or unlocked */
  QUEUE_ERR_MEMORY = -3,   /* no memory for a new entry; the queue is unchanged */
  QUEUE_ERR_CLOSED = -4,   /* a put into a closed queue, or a waiting get from one that is empty too */
  QUEUE_ERR_NO_MATCH = -5, /* the filter accepts no item; the queue is unchanged */
  QUEUE_ERR_COUNT = -7 /* full, for a put that does not wait; empty, for a get or peek that does not wait */
};

/* What queue_elements returns in place of a number of items. */
enum {
  QUEUE_ELEMENTS_ERR_UNLOCK = 65534, /* also what the fullest queue holds */
  QUEUE_ELEMENTS_ERR = 65535         /* no queue, or it cannot be locked */
};

/* Negative, zero or positive as a comes before, equals or comes after b in ascending order. */
typedef int (*queue_compare)(void* a, void* b);

/* Releases an item. Where an operation takes one and it is null, free() releases the item. */
typedef void (*queue_free)(void* item);

/* 0 selects the item in the slot, anything else passes over it. The argument is the caller's own. */
typedef int (*queue_filter)(void** slot, void* argument);

/* One item in its place. Allocated by a put, released by a get or a flush. */
typedef struct queue_entry {
  void* item;
  struct queue_entry* next; /* null at the end */
} queue_entry;

/* A queue. Made by the create operations and released by the destroy operations only. A caller may read the
 * fields while it holds the mutex, and changes none of them. */
typedef struct queue_state {
  queue_entry* first;       /* null when empty */
  queue_entry* last;        /* null when empty */
  uint16_t count;           /* number of items held */
  uint16_t max_count;       /* maximum number of items, 0 for no limit but the capacity */
  uint8_t new_data;         /* 1 while producers may put, 0 once closed */
  uint8_t sorted;           /* 1 for a sorted queue, 0 otherwise */
  uint8_t ascending;        /* nonzero: smallest first; 0: largest first */
  queue_compare compare;    /* null unless sorted */
  pthread_mutex_t* mutex;   /* guards every field and the entries */
  pthread_cond_t* cond_get; /* consumers wait here while the queue is empty */
  pthread_cond_t* cond_put; /* producers wait here while the queue is full */
} queue_state;

/* ---- Making and destroying ---- */

/* An open, empty queue; null without memory. */
VANTREL_EXPORT queue_state* queue_create(void);

/* The same for at most max_count items; 0 means no limit. */
VANTREL_EXPORT queue_state* queue_create_limited(uint16_t max_count);

/* A queue kept in order: smallest first when ascending is not 0, largest first when it is. An item goes
 * before the items that compare equal to it. Null also when compare is null. */
VANTREL_EXPORT queue_state* queue_create_sorted(int8_t ascending, queue_compare compare);
VANTREL_EXPORT queue_state* queue_create_limited_sorted(uint16_t max_count, int8_t ascending,
                                                        queue_compare compare);

/* Closes the queue, drops its items and releases it. Threads that are blocked in a waiting form are woken and
 * leave with QUEUE_ERR_CLOSED, or with an item that was still there; the call returns after the last of them
 * has left the queue. No other call may be about to begin. What is returned is the result of destroying the
 * mutex: normally 0. queue_destroy leaves the items to the caller; queue_destroy_complete releases each. */
VANTREL_EXPORT int8_t queue_destroy(queue_state* queue);
VANTREL_EXPORT int8_t queue_destroy_complete(queue_state* queue, queue_free release);

/* ---- State ---- */

/* Number of items held; QUEUE_ELEMENTS_ERR or QUEUE_ELEMENTS_ERR_UNLOCK on failure. */
VANTREL_EXPORT uint16_t queue_elements(queue_state* queue);

/* 1 when empty, 0 when not. */
VANTREL_EXPORT int8_t queue_empty(queue_state* queue);

/* 0 closes the queue and wakes everyone who waits; anything else opens it again. */
VANTREL_EXPORT int8_t queue_set_new_data(queue_state* queue, uint8_t new_data);

/* The flag; 0 also without a queue or when it cannot be locked or unlocked. */
VANTREL_EXPORT uint8_t queue_get_new_data(queue_state* queue);

/* Drops every item; queue_flush_complete releases each. Wakes nobody: a producer that waits for room goes on
 * waiting until something is taken or the queue is closed. */
VANTREL_EXPORT int8_t queue_flush(queue_state* queue);
VANTREL_EXPORT int8_t queue_flush_complete(queue_state* queue, queue_free release);

/* ---- Putting ---- */

/* Adds an item, which may be null: at the end, or in its place in a sorted queue, which takes time in
 * proportion to the number of items. A closed queue refuses it also when it has room. */
VANTREL_EXPORT int8_t queue_put(queue_state* queue, void* item);

/* The same, but blocks while the queue is full. */
VANTREL_EXPORT int8_t queue_put_wait(queue_state* queue, void* item);

/* Flushes, then puts without waiting, in one step. A refused put leaves the queue empty. queue_flush_put
 * drops the items without releasing them and makes no use of its free function. */
VANTREL_EXPORT int8_t queue_flush_put(queue_state* queue, queue_free release, void* item);
VANTREL_EXPORT int8_t queue_flush_complete_put(queue_state* queue, queue_free release, void* item);

/* ---- Getting. *item is set to null first, whatever happens then. ---- */

/* Shows the first item and leaves it in the queue. */
VANTREL_EXPORT int8_t queue_get_pre(queue_state* queue, void** item);

/* Takes the first item. */
VANTREL_EXPORT int8_t queue_get(queue_state* queue, void** item);

/* The same, but blocks while the queue is empty and open. */
VANTREL_EXPORT int8_t queue_get_wait(queue_state* queue, void** item);

/* Takes the first item that the filter selects, asking from the front; without a filter the first item. */
VANTREL_EXPORT int8_t queue_get_filtered(queue_state* queue, void** item, queue_filter filter,
                                         void* argument);

#ifdef __cplusplus
}
#endif

#endif
