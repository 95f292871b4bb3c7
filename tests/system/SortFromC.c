/* Uses the sorts as a program written in C does. */
#include <limits.h>
#include <string.h>

#include "vantrel/system/sort.h"

int sortsFromC(void) {
  int up[] = {3, -1, 2, -1, INT_MAX, INT_MIN};
  int down[] = {3, -1, 2, -1, INT_MAX, INT_MIN};
  const int smallestFirst[] = {INT_MIN, -1, -1, 2, 3, INT_MAX};
  const int largestFirst[] = {INT_MAX, 3, 2, -1, -1, INT_MIN};
  AscendingSort(up, 0, 5);
  DescendingSort(down, 0, 5);
  return memcmp(up, smallestFirst, sizeof up) == 0 && memcmp(down, largestFirst, sizeof down) == 0;
}
