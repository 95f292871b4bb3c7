/* The walks along the entries: where a sorted queue puts an item, and which one a filter selects. */
#include <stdbool.h>

#include "vantrel/buffers/detail/queue_internal.h"

static bool in_order(const queue_state* queue, void* before, void* after) {
  const int order = queue->compare(before, after);
  return queue->ascending ? order <= 0 : order >= 0;
}

/* The first entry that the item comes after and whose follower it comes before; the last one failing that. */
static queue_entry* entry_before(const queue_state* queue, void* item) {
  queue_entry* entry = queue->first;
  for (; entry->next; entry = entry->next) {
    if (in_order(queue, entry->item, item) && in_order(queue, item, entry->next->item)) break;
  }
  return entry;
}

void queue_insert_sorted_internal(queue_state* queue, queue_entry* added) {
  const int order = queue->compare(queue->first->item, added->item);
  if (queue->ascending ? order >= 0 : order <= 0) {
    added->next = queue->first;
    queue->first = added;
    return;
  }
  queue_entry* const before = entry_before(queue, added->item);
  added->next = before->next;
  before->next = added;
  if (!added->next) queue->last = added;
}

queue_entry* queue_select_internal(const queue_state* queue, queue_filter filter, void* argument,
                                   queue_entry** previous) {
  queue_entry* entry = queue->first;
  *previous = NULL;
  while (entry && filter(&entry->item, argument) != 0) {
    *previous = entry;
    entry = entry->next;
  }
  return entry;
}
