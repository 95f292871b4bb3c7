/* The ring and the queue from C: a producer thread hands words over, the main thread gathers and prints them.
 */
#include <pthread.h>
#include <stdio.h>
#include <string.h>

#include "vantrel/buffers/TPCircularBuffer.h"
#include "vantrel/buffers/queue.h"

static void* produce(void* queue) {
  static char words[][8] = {"in ", "order ", "and ", "whole\n"};
  for (int i = 0; i < 4; ++i) queue_put_wait(queue, words[i]);
  queue_set_new_data(queue, 0); /* no more will come */
  return NULL;
}

int main(void) {
  queue_state* queue = queue_create_limited(2);
  TPCircularBuffer ring = {0};
  pthread_t producer;
  if (!queue || !TPCircularBufferInit(&ring, 4096)) return 1;
  if (pthread_create(&producer, NULL, produce, queue) != 0) return 1;

  void* word;
  while (queue_get_wait(queue, &word) == QUEUE_OK) {
    int32_t room, size = (int32_t)strlen(word);
    uint8_t* to = TPCircularBufferWriteRegion(&ring, &room);
    if (room < size) break;
    memcpy(to, word, (size_t)size);
    TPCircularBufferProduce(&ring, size);
  }
  int32_t filled;
  const uint8_t* from = TPCircularBufferReadRegion(&ring, &filled);
  printf("%.*s", (int)filled, (const char*)from);

  pthread_join(producer, NULL);
  TPCircularBufferCleanup(&ring);
  return queue_destroy(queue);
}
