#include "vantrel/data/PropertyListExtent.h"

#include <algorithm>

#include "vantrel/base/Utf8.h"
#include "vantrel/data/detail/BinaryPlist.h"

namespace vantrel::plist {
namespace {

using namespace detail;

// Of one object beside its payload: marker and count, one reference, one entry of the offset table.
constexpr std::uint64_t kMarker = 6;
constexpr std::uint64_t kReference = 4;
constexpr std::uint64_t kPlace = kMarker + kReference + 4;

// An integer takes sixteen bytes at most.
constexpr std::uint64_t kScalar = 16;

std::optional<std::uint64_t> textBytes(std::string_view text) {
  if (std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) <= 0x7F; })) {
    return text.size();
  }
  if (!text::isValidUtf8(text)) return std::nullopt;
  return 2 * text.size();
}

std::optional<std::uint64_t> leafBytes(const ValueTree& leaf) {
  switch (leaf.kind()) {
    case ValueTree::Kind::Null:
      return std::nullopt;
    case ValueTree::Kind::String:
      return textBytes(*leaf.asString());
    case ValueTree::Kind::Data:
      return leaf.asData()->size();
    default:
      return kScalar;
  }
}

/// Adds up a tree; false when it cannot be written.
class Measurer {
 public:
  bool add(const ValueTree& value, std::size_t below) {
    if (++extent.values > kMaxValues) return false;
    const bool list = value.kind() == ValueTree::Kind::List;
    if (!list && value.kind() != ValueTree::Kind::Dictionary) return addBytes(leafBytes(value));
    if (below >= kMaxLevels) return false;
    return addBytes(0) && (list ? addItems(value, below + 1) : addMembers(value, below + 1));
  }

  Extent extent;

 private:
  bool addBytes(std::optional<std::uint64_t> payload) {
    if (!payload) return false;
    extent.bytes += kPlace + *payload;
    return true;
  }

  bool addItems(const ValueTree& list, std::size_t below) {
    for (const ValueTree& item : list.items()) {
      if (!add(item, below)) return false;
    }
    return true;
  }

  bool addMembers(const ValueTree& dictionary, std::size_t below) {
    for (const ValueTree::Member& member : dictionary.members()) {
      const std::optional<Extent> key = extentOfKey(member.key());
      if (!key || !add(member.value(), below)) return false;
      extent += *key;
    }
    return extent.keyBytes <= kMaxKeyBytes;
  }
};

}  // namespace

Extent& Extent::operator+=(const Extent& other) {
  bytes += other.bytes;
  values += other.values;
  keyBytes += other.keyBytes;
  return *this;
}

Extent& Extent::operator-=(const Extent& other) {
  bytes -= other.bytes;
  values -= other.values;
  keyBytes -= other.keyBytes;
  return *this;
}

bool Extent::fits() const {
  return bytes + kHeaderSize + kTrailerSize <= kMaxContents && values <= kMaxValues &&
         keyBytes <= kMaxKeyBytes;
}

Extent Extent::tooMuch() { return {kMaxContents, kMaxValues, kMaxKeyBytes}; }

std::optional<Extent> extentOfKey(std::string_view key) {
  const std::optional<std::uint64_t> bytes = textBytes(key);
  if (!bytes) return std::nullopt;
  return Extent{kPlace + *bytes, 0, key.size()};
}

std::optional<Extent> measure(const ValueTree& value, std::size_t below) {
  Measurer measurer;
  if (!measurer.add(value, below)) return std::nullopt;
  return measurer.extent;
}

}  // namespace vantrel::plist
