/* In-place sorts of signed 32-bit integers. C11 and C++20.
 *
 * The caller owns the array. Only the elements array[left] to array[right], both included, are read and
 * written; a whole array of n elements is sorted with left 0 and right n - 1. Nothing happens when left >=
 * right or the array is null.
 *
 * No input is slow: ordered, reversed and equal elements take no longer than random ones. Neither function
 * allocates, and both may run on any thread, on different ranges at once.
 */
#ifndef VANTREL_SYSTEM_SORT_H
#define VANTREL_SYSTEM_SORT_H

#include "vantrel/base/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Largest first: 3, -1, 2, -1 becomes 3, 2, -1, -1. */
VANTREL_EXPORT void DescendingSort(int* array, int left, int right);

/* Smallest first: 3, -1, 2, -1 becomes -1, -1, 2, 3. */
VANTREL_EXPORT void AscendingSort(int* array, int left, int right);

#ifdef __cplusplus
}
#endif

#endif
