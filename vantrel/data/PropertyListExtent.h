#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "vantrel/base/Export.h"
#include "vantrel/base/ValueTree.h"

/// How much of a property list's bounds values take, for who gathers values that are written later.
/// Stateless; any thread.
namespace vantrel::plist {

/// What a value takes at most in a property list: an upper bound, as the writer keeps equal leaves once.
struct VANTREL_EXPORT Extent {
  std::uint64_t bytes = 0;
  std::uint64_t values = 0;
  std::uint64_t keyBytes = 0;

  Extent& operator+=(const Extent& other);
  Extent& operator-=(const Extent& other);

  /// Whether a file of that extent is sure to be written and read again.
  bool fits() const;

  /// More than any file holds.
  static Extent tooMuch();
};

/// The extent of an entry's key; absent when it is not valid UTF-8.
VANTREL_EXPORT std::optional<Extent> extentOfKey(std::string_view key);

/// The extent of a value that stands `below` that many containers. Absent when no property list holds it:
/// null inside, invalid UTF-8, too many levels, too much for any file. Writes nothing and allocates nothing.
VANTREL_EXPORT std::optional<Extent> measure(const ValueTree& value, std::size_t below = 0);

/// The extent, or too much where it is absent.
inline Extent extentOf(const ValueTree& value) { return measure(value).value_or(Extent::tooMuch()); }

}  // namespace vantrel::plist
