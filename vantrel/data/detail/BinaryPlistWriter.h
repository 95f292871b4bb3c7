#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Error.h"
#include "vantrel/base/ValueTree.h"
#include "vantrel/data/detail/BinaryPlist.h"

namespace vantrel::plist::detail {

/// Collects the objects of a binary property list and lays them out. Objects are known by number; a container
/// is added after what it refers to.
class ObjectWriter {
 public:
  using Number = std::uint32_t;

  /// Adds a leaf, or finds the equal one added before (data is never compared). Absent for null, list,
  /// dictionary, invalid UTF-8, and data past the bounds.
  std::optional<Number> addLeaf(const ValueTree& leaf);

  Number addUid(std::uint64_t uid);
  Number addList(const std::vector<Number>& items);

  /// As many values as keys.
  Number addDictionary(const std::vector<Number>& keys, const std::vector<Number>& values);

  /// The whole file. Absent when it is larger than what may be read again.
  std::optional<Bytes> finish(Number top) const;

 private:
  // Leaves are encoded at once, containers when the size of a reference is known.
  struct Entry {
    std::size_t position;  // of a leaf in leaves_, of a container's first reference in references_
    std::size_t size;      // in bytes, in references
    Marker container;      // Simple for a leaf
  };

  Number add(Entry entry);
  Number addEncoded(const std::string& encoded);
  Number addContainer(Marker marker, const std::vector<Number>& first, const std::vector<Number>& second);

  std::vector<Entry> entries_;
  std::vector<std::uint8_t> leaves_;
  std::vector<Number> references_;
  std::unordered_map<std::string, Number> known_;  // by encoded form, so that 1 and 1.0 differ
};

/// Why no file holds the value: what `objection` has against one in it (null when nothing), invalid UTF-8,
/// too many levels, too much.
Error reasonAgainstWriting(const ValueTree& value, const char* (*objection)(const ValueTree&));

/// Counts what goes into a file, so that nothing is written that would not be read.
class WriteBounds {
 public:
  /// One more value below that many containers; false when it is too much.
  bool admit(const ValueTree& value, std::size_t below);

 private:
  std::uint64_t values_ = 0;
  std::uint64_t keyBytes_ = 0;
};

}  // namespace vantrel::plist::detail
