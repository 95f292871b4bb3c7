#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>

#include "vantrel/base/Error.h"
#include "vantrel/base/ValueTree.h"

namespace vantrel::data::detail {

/// A value that a format has no form for.
struct ValueFault {
  std::string path;  ///< a JSON Pointer (RFC 6901) that leads to it; what is no UTF-8 in it as U+FFFD
  std::string why;

  /// With both in its description and the path in `info`.
  Error error(const char* domain, std::int64_t code) const;
};

/// Why a format has no form for a value, what is in it left aside; null when it has one. `below` counts the
/// containers around the value.
using Judge = std::function<const char*(const ValueTree& value, std::size_t below)>;

/// The first value, as writers come to them, that the judge is against or whose text or key is no UTF-8.
/// Absent when there is none among the first `most` values. A second walk, so that writing need not keep
/// account of where it is.
std::optional<ValueFault> firstFault(const ValueTree& tree, const Judge& judge,
                                     std::uint64_t most = std::numeric_limits<std::uint64_t>::max());

}  // namespace vantrel::data::detail
