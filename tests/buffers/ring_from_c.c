/* Uses the ring as a program written in C does. */
#include <stdio.h>
#include <string.h>

#include "vantrel/buffers/TPCircularBuffer.h"

static int failures = 0;

static void expect(bool holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "not so: %s\n", what);
  ++failures;
}

int main(void) {
  TPCircularBuffer ring = {0};
  expect(TPCircularBufferInit(&ring, 1000), "a ring is made");
  expect(ring.length >= 1000 && ring.atomic, "of at least that length, for two threads");

  int32_t space = 0, filled = -1;
  expect(!TPCircularBufferReadRegion(&ring, &filled) && filled == 0, "it is empty");
  TPCircularBufferProduce(&ring, ring.length - 3);
  TPCircularBufferClear(&ring);

  uint8_t* to = TPCircularBufferWriteRegion(&ring, &space);
  expect(to == ring.buffer + ring.length - 3 && space == ring.length, "all is free, from near the end");
  memcpy(to, "mirrored", 8);
  TPCircularBufferProduce(&ring, 8);
  expect(memcmp(ring.buffer, "rored", 5) == 0, "the end goes on at the beginning");

  const uint8_t* from = TPCircularBufferReadRegion(&ring, &filled);
  expect(filled == 8 && memcmp(from, "mirrored", 8) == 0, "it reads in one piece");
  TPCircularBufferConsume(&ring, 8);
  expect(ring.tail == 5 && ring.head == 5 && ring.fillCount == 0, "it is empty again");

  TPCircularBufferSetAtomic(&ring, false);
  expect(!ring.atomic, "it can be for one thread");
  TPCircularBufferCleanup(&ring);
  expect(!ring.buffer && ring.length == 0 && ring.tail == 0 && ring.head == 0, "nothing is left");
  expect(!TPCircularBufferInit(&ring, 0) && !TPCircularBufferInit(&ring, -1), "no length, no ring");
  return failures;
}
