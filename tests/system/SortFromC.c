/* Uses the sorts as a program written in C does. */
#include <limits.h>

#include "tests/support/Expect.h"
#include "vantrel/system/sort.h"

int sortFromC(void) {
  int numbers[] = {3, -1, INT_MAX, INT_MIN};
  AscendingSort(numbers, 0, 3);
  expect(numbers[0] == INT_MIN && numbers[1] == -1 && numbers[3] == INT_MAX, "the smallest first");
  DescendingSort(numbers, 0, 3);
  expect(numbers[0] == INT_MAX && numbers[1] == 3 && numbers[3] == INT_MIN, "the largest first");
  return failures;
}
