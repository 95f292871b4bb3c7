#include <stdio.h>

#include "vantrel/buffers/TPCircularBuffer.h"
#include "vantrel/buffers/queue.h"
#include "vantrel/codec/kw_crc16.h"
#include "vantrel/system/sort.h"

int main(void) {
  int numbers[] = {3, 1, 2};
  TPCircularBuffer ring;
  queue_state* queue = queue_create();
  AscendingSort(numbers, 0, 2);
  if (!queue || !TPCircularBufferInit(&ring, 4096)) return 1;
  TPCircularBufferCleanup(&ring);
  queue_destroy_complete(queue, NULL);
  printf("%04x %d\n", kw_count_crc_deal((const uint8_t*)"123456789", 9), numbers[0]);
  return 0;
}
