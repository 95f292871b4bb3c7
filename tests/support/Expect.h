/* For test programs in C: says what does not hold, and counts it. */
#pragma once

#include <stdio.h>

static int failures = 0;

static void expect(int holds, const char* what) {
  if (holds) return;
  fprintf(stderr, "does not hold: %s\n", what);
  ++failures;
}
