#include "vantrel/system/sort.h"

#include <hwy/contrib/sort/vqsort.h>

#include <algorithm>
#include <cstddef>
#include <functional>

namespace {

// A vector sort asks the system for random bits in each call, which takes longer than to sort this many.
constexpr std::size_t kFewElements = 64;

template <class Before, class Order>
void sortRange(int* array, int left, int right, Before before, Order order) {
  if (!array || left >= right) return;
  int* const first = array + left;
  const auto count = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(right) - left + 1);
  if (count <= kFewElements) {
    std::sort(first, first + count, before);
  } else {
    hwy::Sorter()(first, count, order);
  }
}

}  // namespace

void DescendingSort(int* array, int left, int right) {
  sortRange(array, left, right, std::greater<>(), hwy::SortDescending());
}

void AscendingSort(int* array, int left, int right) {
  sortRange(array, left, right, std::less<>(), hwy::SortAscending());
}
