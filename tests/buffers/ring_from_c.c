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
  TPCircularBufferSetAtomic(&ring, false);
  TPCircularBufferProduce(&ring, ring.length - 3);
  TPCircularBufferClear(&ring);

  int32_t space = 0, filled = 0;
  uint8_t* to = TPCircularBufferWriteRegion(&ring, &space);
  expect(to == ring.buffer + ring.length - 3 && space == ring.length, "all is free, from near the end");
  memcpy(to, "mirrored", 8);
  TPCircularBufferProduce(&ring, 8);
  expect(memcmp(ring.buffer, "rored", 5) == 0, "the end goes on at the beginning");

  const uint8_t* from = TPCircularBufferReadRegion(&ring, &filled);
  expect(filled == 8 && memcmp(from, "mirrored", 8) == 0, "it reads in one piece");
  TPCircularBufferConsume(&ring, 8);
  TPCircularBufferCleanup(&ring);
  expect(!ring.buffer && ring.length == 0, "nothing is left");
  return failures;
}
