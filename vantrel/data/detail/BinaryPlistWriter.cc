#include "vantrel/data/detail/BinaryPlistWriter.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <string_view>

#include "vantrel/base/Utf8.h"
#include "vantrel/data/detail/ValueFault.h"

namespace vantrel::plist::detail {
namespace {

template <typename Output>
void putBigEndian(Output& output, std::uint64_t value, std::size_t size) {
  while (size-- > 0) output.push_back(static_cast<typename Output::value_type>(value >> (8 * size) & 0xFF));
}

template <typename Output>
void putMarker(Output& output, Marker marker, std::size_t low) {
  output.push_back(static_cast<typename Output::value_type>(static_cast<std::size_t>(marker) | low));
}

// Bytes that hold the number, of 1, 2, 4 or 8.
std::size_t sizeFor(std::uint64_t number) {
  if (number <= 0xFF) return 1;
  if (number <= 0xFFFF) return 2;
  return number <= 0xFFFFFFFF ? 4 : 8;
}

template <typename Output>
void putSized(Output& output, std::uint64_t number) {
  const std::size_t size = sizeFor(number);
  putMarker(output, Marker::Integer, static_cast<std::size_t>(std::countr_zero(size)));
  putBigEndian(output, number, size);
}

template <typename Output>
void putCounted(Output& output, Marker marker, std::size_t count) {
  putMarker(output, marker, std::min<std::size_t>(count, kCountFollows));
  if (count >= kCountFollows) putSized(output, count);
}

void putInteger(std::string& output, const ValueTree& value) {
  const std::optional<std::int64_t> asSigned = value.asInteger();
  if (asSigned && *asSigned >= 0) return putSized(output, static_cast<std::uint64_t>(*asSigned));
  // Eight bytes are signed; what is larger takes sixteen.
  putMarker(output, Marker::Integer, asSigned ? 3 : 4);
  if (asSigned) return putBigEndian(output, static_cast<std::uint64_t>(*asSigned), 8);
  putBigEndian(output, 0, 8);
  putBigEndian(output, *value.asUnsigned(), 8);
}

void putDouble(std::string& output, Marker marker, double value) {
  putMarker(output, marker, 3);
  putBigEndian(output, std::bit_cast<std::uint64_t>(value), 8);
}

bool putString(std::string& output, std::string_view text) {
  if (std::ranges::all_of(text, [](char c) { return static_cast<unsigned char>(c) <= 0x7F; })) {
    putCounted(output, Marker::Ascii, text.size());
    output += text;
    return true;
  }
  if (!text::isValidUtf8(text)) return false;
  const std::u16string units = text::utf16(text);
  putCounted(output, Marker::Utf16, units.size());
  for (const char16_t unit : units) putBigEndian(output, unit, 2);
  return true;
}

bool putLeaf(std::string& output, const ValueTree& leaf) {
  switch (leaf.kind()) {
    case ValueTree::Kind::Boolean:
      putMarker(output, Marker::Simple, *leaf.asBoolean() ? kTrue : kFalse);
      return true;
    case ValueTree::Kind::Integer:
      putInteger(output, leaf);
      return true;
    case ValueTree::Kind::Floating:
      putDouble(output, Marker::Real, *leaf.asDouble());
      return true;
    case ValueTree::Kind::Date:
      putDouble(output, Marker::Date, leaf.asDate()->secondsSince1970 - kSecondsFrom1970To2001);
      return true;
    case ValueTree::Kind::String:
      return putString(output, *leaf.asString());
    default:
      return false;
  }
}

}  // namespace

ObjectWriter::Number ObjectWriter::add(Entry entry) {
  entries_.push_back(entry);
  return static_cast<Number>(entries_.size() - 1);
}

ObjectWriter::Number ObjectWriter::addEncoded(const std::string& encoded) {
  const auto [place, isNew] = known_.try_emplace(encoded, static_cast<Number>(entries_.size()));
  if (isNew) {
    add({leaves_.size(), encoded.size(), Marker::Simple});
    leaves_.insert(leaves_.end(), encoded.begin(), encoded.end());
  }
  return place->second;
}

std::optional<ObjectWriter::Number> ObjectWriter::addLeaf(const ValueTree& leaf) {
  if (const std::optional<Bytes> data = leaf.asData()) {
    if (data->size() > kMaxContents - std::min<std::uint64_t>(kMaxContents, leaves_.size())) {
      return std::nullopt;
    }
    const std::size_t start = leaves_.size();
    putCounted(leaves_, Marker::Data, data->size());
    leaves_.insert(leaves_.end(), data->begin(), data->end());
    return add({start, leaves_.size() - start, Marker::Simple});
  }
  std::string encoded;
  if (!putLeaf(encoded, leaf)) return std::nullopt;
  return addEncoded(encoded);
}

ObjectWriter::Number ObjectWriter::addUid(std::uint64_t uid) {
  std::string encoded;
  const std::size_t size = sizeFor(uid);
  putMarker(encoded, Marker::Uid, size - 1);
  putBigEndian(encoded, uid, size);
  return addEncoded(encoded);
}

ObjectWriter::Number ObjectWriter::addContainer(Marker marker, const std::vector<Number>& first,
                                                const std::vector<Number>& second) {
  const std::size_t start = references_.size();
  references_.insert(references_.end(), first.begin(), first.end());
  references_.insert(references_.end(), second.begin(), second.end());
  return add({start, references_.size() - start, marker});
}

ObjectWriter::Number ObjectWriter::addList(const std::vector<Number>& items) {
  return addContainer(Marker::Array, items, {});
}

ObjectWriter::Number ObjectWriter::addDictionary(const std::vector<Number>& keys,
                                                 const std::vector<Number>& values) {
  return addContainer(Marker::Dictionary, keys, values);
}

std::optional<Bytes> ObjectWriter::finish(Number top) const {
  if (entries_.size() > kMaxObjects) return std::nullopt;
  const std::size_t referenceSize = sizeFor(entries_.size());
  if (leaves_.size() + references_.size() * referenceSize > kMaxContents) return std::nullopt;

  constexpr std::string_view kHeader = "bplist00";
  std::vector<std::uint8_t> file(kHeader.begin(), kHeader.end());
  file.reserve(leaves_.size() + references_.size() * referenceSize + entries_.size() * 8 + 64);
  file.insert(file.end(), leaves_.begin(), leaves_.end());

  std::vector<std::uint64_t> offsets;
  offsets.reserve(entries_.size());
  for (const Entry& entry : entries_) {
    if (entry.container == Marker::Simple) {
      offsets.push_back(kHeaderSize + entry.position);
      continue;
    }
    offsets.push_back(file.size());
    putCounted(file, entry.container, entry.container == Marker::Dictionary ? entry.size / 2 : entry.size);
    for (std::size_t i = 0; i < entry.size; ++i) {
      putBigEndian(file, references_[entry.position + i], referenceSize);
    }
  }

  const std::size_t table = file.size();
  const std::size_t offsetSize = sizeFor(table);
  for (const std::uint64_t offset : offsets) putBigEndian(file, offset, offsetSize);
  file.insert(file.end(), 6, 0);
  file.push_back(static_cast<std::uint8_t>(offsetSize));
  file.push_back(static_cast<std::uint8_t>(referenceSize));
  putBigEndian(file, entries_.size(), 8);
  putBigEndian(file, top, 8);
  putBigEndian(file, table, 8);
  if (file.size() > kMaxContents) return std::nullopt;
  return Bytes(std::move(file));
}

Error reasonAgainstWriting(const ValueTree& value, const char* (*objection)(const ValueTree&)) {
  const auto judge = [objection](const ValueTree& part, std::size_t below) -> const char* {
    const bool isContainer =
        part.kind() == ValueTree::Kind::List || part.kind() == ValueTree::Kind::Dictionary;
    return isContainer && below >= kMaxLevels ? "nested too deeply" : objection(part);
  };
  if (const auto fault = data::detail::firstFault(value, judge, kMaxValues)) {
    return fault->error(kErrorDomain, kNotWritable);
  }
  return Error::saying(kErrorDomain, kPastBounds, "too large to be read again");
}

bool WriteBounds::admit(const ValueTree& value, std::size_t below) {
  if (++values_ > kMaxValues) return false;
  const bool container = value.kind() == ValueTree::Kind::List || value.kind() == ValueTree::Kind::Dictionary;
  if (container && below >= kMaxLevels) return false;
  for (const ValueTree::Member& member : value.members()) keyBytes_ += member.key().size();
  return keyBytes_ <= kMaxKeyBytes && value.size() <= kMaxValues;
}

}  // namespace vantrel::plist::detail
