#include "vantrel/data/detail/BinaryPlistReader.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <string>
#include <utility>

#include "vantrel/base/Utf8.h"

namespace vantrel::plist::detail {
namespace {

constexpr std::string_view kHeader = "bplist00";

// What objects may take together, in lengths of the file: writers may share an array between objects.
constexpr std::uint64_t kTakenAtMost = 4;

std::optional<Object> leaf(std::optional<ValueTree> value) {
  if (!value) return std::nullopt;
  Object object;
  object.leaf = std::move(*value);
  return object;
}

bool isSurrogate(char16_t unit) { return (unit & 0xF800) == 0xD800; }
bool isHigh(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
bool isLow(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

bool isWellFormed(std::u16string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (!isSurrogate(text[i])) continue;
    if (!isHigh(text[i]) || i + 1 == text.size() || !isLow(text[i + 1])) return false;
    ++i;
  }
  return true;
}

std::optional<ValueTree> asciiText(std::string_view text) {
  if (std::ranges::any_of(text, [](char c) { return static_cast<unsigned char>(c) > 0x7F; })) {
    return std::nullopt;
  }
  return ValueTree(text);
}

std::optional<ValueTree> utf16Text(std::span<const std::uint8_t> bytes) {
  std::u16string units(bytes.size() / 2, u'\0');
  for (std::size_t i = 0; i < units.size(); ++i) {
    units[i] = static_cast<char16_t>(bytes[2 * i] << 8 | bytes[2 * i + 1]);
  }
  if (!isWellFormed(units)) return std::nullopt;
  return ValueTree(text::utf8(units));
}

}  // namespace

struct ObjectTable::Place {
  Marker marker{};
  std::uint8_t low = 0;     // the marker's lower half
  std::size_t payload = 0;  // after the marker and its count
  std::uint64_t count = 0;  // as the marker says; not yet checked
};

Result<ObjectTable> ObjectTable::open(const Bytes& contents) {
  const auto malformed = [](const char* why) { return Error::saying(kErrorDomain, kMalformed, why); };
  if (!contents.text().starts_with(kHeader))
    return malformed("neither \"bplist00\" nor XML stands at the start");
  if (contents.size() > kMaxContents) {
    return Error::saying(kErrorDomain, kPastBounds,
                         "too large: more than " + std::to_string(kMaxContents) + " bytes");
  }
  if (contents.size() < kHeaderSize + kTrailerSize) return malformed("cut off");
  ObjectTable table(contents);
  if (!table.readTrailer()) return malformed("the trailer leads nowhere: damaged or cut off");
  return table;
}

bool ObjectTable::readTrailer() {
  // Five unused bytes, sort version, size of an offset, size of a reference, then three numbers of 8 bytes.
  const std::size_t trailer = contents_.size() - kTrailerSize;
  offsetSize_ = contents_[trailer + 6];
  referenceSize_ = contents_[trailer + 7];
  const std::uint64_t objects = bigEndian(trailer + 8, 8);
  const std::uint64_t top = bigEndian(trailer + 16, 8);
  const std::uint64_t offsets = bigEndian(trailer + 24, 8);
  if (offsetSize_ < 1 || offsetSize_ > 8 || referenceSize_ < 1 || referenceSize_ > 8) return false;
  if (offsets <= kHeaderSize || offsets > trailer) return false;
  // An object takes a byte at least.
  if (objects > std::min((trailer - offsets) / offsetSize_, offsets - kHeaderSize)) return false;
  if (objects > kMaxObjects || top >= objects) return false;
  objects_ = static_cast<std::size_t>(objects);
  top_ = static_cast<std::size_t>(top);
  offsets_ = static_cast<std::size_t>(offsets);
  return true;
}

std::uint64_t ObjectTable::bigEndian(std::size_t position, std::size_t size) const {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8 | contents_[position + i];
  return value;
}

std::optional<ObjectTable::Place> ObjectTable::place(std::uint64_t number) const {
  if (number >= objects_) return std::nullopt;
  const std::uint64_t offset =
      bigEndian(offsets_ + static_cast<std::size_t>(number) * offsetSize_, offsetSize_);
  if (offset < kHeaderSize || offset >= offsets_) return std::nullopt;
  const auto position = static_cast<std::size_t>(offset);
  Place place;
  place.marker = static_cast<Marker>(contents_[position] & 0xF0);
  place.low = contents_[position] & 0x0F;
  place.payload = position + 1;
  place.count = place.low;
  if (place.marker < Marker::Data || place.marker == Marker::Uid || place.low != kCountFollows) return place;

  if (place.payload >= offsets_) return std::nullopt;
  const std::uint8_t integer = contents_[place.payload];
  const std::size_t size = std::size_t{1} << (integer & 0x0F);
  if ((integer & 0xF0) != static_cast<std::uint8_t>(Marker::Integer) || size > 8) return std::nullopt;
  if (size >= offsets_ - place.payload) return std::nullopt;
  place.count = bigEndian(place.payload + 1, size);
  place.payload += 1 + size;
  return place;
}

// Whether the place holds `count` units of that many bytes, and the reading has not taken too much by then.
bool ObjectTable::take(const Place& place, std::uint64_t unit) {
  const std::uint64_t room = offsets_ - place.payload;
  if (place.count > room / unit) return false;
  taken_ += place.count * unit + 1;
  return taken_ <= kTakenAtMost * contents_.size();
}

std::optional<Object> ObjectTable::read(std::uint64_t number) {
  const std::optional<Place> found = place(number);
  if (!found) return std::nullopt;
  if (found->marker != Marker::Uid)
    return found->marker < Marker::Data ? readFixed(*found) : readSized(*found);
  const std::optional<std::uint64_t> held = uid(number);
  if (!held) return std::nullopt;
  Object object;
  object.type = Object::Type::Uid;
  object.uid = *held;
  return object;
}

std::optional<Object> ObjectTable::readFixed(const Place& place) {
  const std::size_t room = offsets_ - place.payload;
  if (place.marker == Marker::Simple) {
    if (place.low != kFalse && place.low != kTrue) return std::nullopt;
    return leaf(ValueTree(place.low == kTrue));
  }
  const std::size_t size = std::size_t{1} << place.low;
  if (size > room) return std::nullopt;
  if (place.marker == Marker::Integer) return leaf(integer(place.payload, size));
  if (size != 8 && (size != 4 || place.marker != Marker::Real)) return std::nullopt;
  const std::uint64_t bits = bigEndian(place.payload, size);
  const double number = size == 8
                            ? std::bit_cast<double>(bits)
                            : static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)));
  if (place.marker == Marker::Real) return leaf(ValueTree(number));
  return leaf(ValueTree(Date{number + kSecondsFrom1970To2001}));
}

// Integers of 1, 2 and 4 bytes are unsigned, larger ones signed.
std::optional<ValueTree> ObjectTable::integer(std::size_t position, std::size_t size) const {
  if (size > 16) return std::nullopt;
  if (size < 8) return ValueTree(bigEndian(position, size));
  const std::uint64_t low = bigEndian(position + size - 8, 8);
  const auto asSigned = static_cast<std::int64_t>(low);
  if (size == 8) return ValueTree(asSigned);
  const std::uint64_t high = bigEndian(position, 8);
  if (high == 0) return ValueTree(low);
  if (high == std::numeric_limits<std::uint64_t>::max() && asSigned < 0) return ValueTree(asSigned);
  return std::nullopt;
}

std::optional<Object> ObjectTable::readSized(const Place& place) {
  const auto payload = [&](std::size_t unit) {
    return contents_.span().subspan(place.payload, static_cast<std::size_t>(place.count) * unit);
  };
  Object container;
  container.count = static_cast<std::size_t>(place.count);
  container.payload = place.payload;
  switch (place.marker) {
    case Marker::Data:
      if (!take(place, 1)) return std::nullopt;
      return leaf(ValueTree(contents_.slice(place.payload, container.count)));
    case Marker::Ascii:
      if (!take(place, 1)) return std::nullopt;
      return leaf(asciiText(contents_.slice(place.payload, container.count).text()));
    case Marker::Utf16:
      if (!take(place, 2)) return std::nullopt;
      return leaf(utf16Text(payload(2)));
    case Marker::Array:
    case Marker::Set:
      if (!take(place, referenceSize_)) return std::nullopt;
      container.type = Object::Type::List;
      return container;
    case Marker::Dictionary:
      if (!take(place, 2 * referenceSize_)) return std::nullopt;
      container.type = Object::Type::Dictionary;
      return container;
    default:
      return std::nullopt;
  }
}

std::string_view ObjectTable::ascii(std::uint64_t number) const {
  const std::optional<Place> found = place(number);
  if (!found || found->marker != Marker::Ascii || found->count > offsets_ - found->payload) return {};
  return contents_.text().substr(found->payload, static_cast<std::size_t>(found->count));
}

std::optional<std::uint64_t> ObjectTable::uid(std::uint64_t number) const {
  const std::optional<Place> found = place(number);
  if (!found || found->marker != Marker::Uid) return std::nullopt;
  const std::size_t size = found->low + std::size_t{1};
  if (size > 8 || size > offsets_ - found->payload) return std::nullopt;
  return bigEndian(found->payload, size);
}

std::uint64_t ObjectTable::item(const Object& list, std::size_t index) const {
  return bigEndian(list.payload + index * referenceSize_, referenceSize_);
}

std::uint64_t ObjectTable::value(const Object& dictionary, std::size_t index) const {
  return item(dictionary, dictionary.count + index);
}

Result<ValueTree> TreeBuilder::build(std::uint64_t number) {
  if (const Built* const built = build(number, 0)) return built->value;
  return Error::saying(kErrorDomain, code_, why_);
}

bool TreeBuilder::refuse(std::string why, ErrorCode code) {
  if (!why_.empty()) return false;
  why_ = std::move(why);
  code_ = code;
  return false;
}

const TreeBuilder::Built* TreeBuilder::refused(std::uint64_t number, const char* why) {
  refuse("object " + std::to_string(number) + " " + why);
  return nullptr;
}

const TreeBuilder::Built* TreeBuilder::build(std::uint64_t number, std::size_t below) {
  if (number >= built_.size()) {
    refuse("an object is referred to that is not there");
    return nullptr;
  }
  Built& place = built_[static_cast<std::size_t>(number)];
  // Or a failure before, whose reason stays.
  if (place.state == Built::State::Begun) return refused(number, "holds itself");
  if (place.state == Built::State::None) {
    place.state = Built::State::Begun;
    const std::optional<Object> object = table_.read(number);
    if (!object) return refused(number, "is damaged");
    const bool container = object->type == Object::Type::List || object->type == Object::Type::Dictionary;
    // Before it can recurse much further; what is a leaf in spite of its form may stand one deeper.
    if (container && below > kMaxLevels) return tooDeep();
    if (!make(*object, below, place)) return refused(number, "is of no kind that a value could be");
    place.state = Built::State::Done;
  }
  if (below + place.levels > kMaxLevels) return tooDeep();
  return &place;
}

const TreeBuilder::Built* TreeBuilder::tooDeep() {
  refuse("nested too deeply", kPastBounds);
  return nullptr;
}

bool TreeBuilder::count(Built& place, const Built& part) {
  if (part.values > kMaxValues - place.values) {
    return refuse("too large: more than " + std::to_string(kMaxValues) + " values", kPastBounds);
  }
  place.values += part.values;
  place.levels = std::max<std::uint16_t>(place.levels, part.levels + 1);
  return true;
}

bool TreeBuilder::append(Built& place, std::uint64_t number, std::size_t below) {
  const Built* part = build(number, below + 1);
  if (!part || !count(place, *part)) return false;
  place.value.append(part->value);
  return true;
}

bool TreeBuilder::set(Built& place, std::uint64_t key, std::uint64_t number, std::size_t below) {
  const Built* name = build(key, below + 1);
  if (!name) return false;
  const std::optional<std::string_view> text = name->value.asString();
  if (!text) return refuse("object " + std::to_string(key) + " is a key, but no string");
  if (text->size() > kMaxKeyBytes - keyBytes_) {
    return refuse("too large: more than " + std::to_string(kMaxKeyBytes) + " bytes of keys", kPastBounds);
  }
  keyBytes_ += text->size();
  const Built* part = build(number, below + 1);
  if (!part || !count(place, *part)) return false;
  place.value.set(*text, part->value);
  return true;
}

}  // namespace vantrel::plist::detail
