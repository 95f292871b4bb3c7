#pragma once

#include <cstdint>
#include <vector>

#include "vantrel/base/Export.h"
#include "vantrel/base/ValueTree.h"

namespace vantrel {

/// Random order for lists. The integer sorts are plain functions, see vantrel/system/sort.h.
/// Threads: any; each call fetches random bits of its own from the system.
class VANTREL_EXPORT KWSort {
 public:
  KWSort() = delete;

  /// A new list with the same elements in random order; the argument is not changed.
  ///
  /// The order comes from a merge sort whose comparisons are each, by one fair random bit, the natural one or
  /// its opposite: a random permutation, not a uniformly distributed one. Elements that compare equal keep
  /// their order among each other where they meet.
  ///
  /// The natural order is total: null, booleans (false first), numbers by value, strings by their code
  /// points, dates, bytes, lists and dictionaries; lists compare by their length, dictionaries likewise. NaN
  /// comes before every number. A value that is no list gives an empty list.
  static ValueTree arrayRandom(const ValueTree& list);
  static std::vector<std::int64_t> arrayRandom(const std::vector<std::int64_t>& list);
};

}  // namespace vantrel
