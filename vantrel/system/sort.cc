#include "vantrel/system/sort.h"

#include <hwy/contrib/sort/vqsort.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <iterator>

#include "vantrel/system/detail/NearlySorted.h"
#include "vantrel/system/detail/SmallSort.h"

namespace {

using namespace vantrel;

template <class Order>
void sortAny(int* numbers, std::size_t count, Order order) {
  // A vector sort asks the system for random bits in each call, which takes longer than to sort this many.
  if (count <= system::detail::kMostInNetwork) {
    system::detail::sortSmall(numbers, count, order.IsAscending());
  } else {
    hwy::Sorter()(numbers, count, order);
  }
}

template <class Before, class Order>
void sortRange(int* array, int left, int right, Before before, Order order) {
  if (!array || left >= right) return;
  int* const first = array + left;
  const auto count = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(right) - left + 1);
  if (count <= system::detail::kMostInNetwork) return sortAny(first, count, order);
  // A vector sort takes as long for what is in order already, so that is looked for before it.
  int* const last = first + count;
  if (std::is_sorted_until(first, last, before) == last) return;
  if (std::is_sorted_until(std::reverse_iterator(last), std::reverse_iterator(first), before).base() ==
      first) {
    std::reverse(first, last);
    return;
  }
  const auto sort = [order](int* numbers, std::size_t size) { sortAny(numbers, size, order); };
  if (!system::detail::NearlySorted(first, count, before, sort).sorted()) sort(first, count);
}

}  // namespace

void DescendingSort(int* array, int left, int right) {
  sortRange(array, left, right, std::greater<>(), hwy::SortDescending());
}

void AscendingSort(int* array, int left, int right) {
  sortRange(array, left, right, std::less<>(), hwy::SortAscending());
}
