#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>

#include "vantrel/platform/data/Json.h"
#include "vantrel/platform/detail/Utf8.h"
#include "vantrel/platform/detail/ValueStorage.h"

// A namespace of our own, so that a program's own copy of the library may be configured differently.
#define RAPIDJSON_NAMESPACE vantrel_rapidjson
#define RAPIDJSON_NAMESPACE_BEGIN namespace vantrel_rapidjson {
#define RAPIDJSON_NAMESPACE_END }
#if defined(__SSE2__)
#define RAPIDJSON_SSE2
#endif
#include <rapidjson/reader.h>

namespace vantrel::json {

namespace {

using platform::detail::Arena;
using platform::detail::Container;
using platform::detail::Text;
using platform::detail::ValueAccess;
using Kind = ValueTree::Kind;

/// The values of containers that are not complete yet. They point into an arena, own nothing, and are copied
/// byte by byte.
class PendingValues {
 public:
  PendingValues() = default;
  PendingValues(const PendingValues&) = delete;
  PendingValues& operator=(const PendingValues&) = delete;

  void push(ValueTree value) {
    if (next_ == end_) grow();
    new (next_++) ValueTree(std::move(value));
  }

  /// Moves the topmost values to `place`.
  void pop(std::size_t count, void* place) {
    next_ -= count;
    std::memcpy(place, static_cast<const void*>(next_), count * sizeof(ValueTree));
  }

 private:
  static constexpr std::size_t kFirst = 256;

  void grow() {
    const auto count = static_cast<std::size_t>(next_ - begin_);
    std::unique_ptr<char[]> larger(new char[2 * count * sizeof(ValueTree)]);
    std::memcpy(larger.get(), static_cast<const void*>(begin_), count * sizeof(ValueTree));
    begin_ = reinterpret_cast<ValueTree*>(larger.get());
    next_ = begin_ + count;
    end_ = begin_ + 2 * count;
    memory_ = std::move(larger);
  }

  alignas(ValueTree) char first_[kFirst * sizeof(ValueTree)];
  std::unique_ptr<char[]> memory_;
  ValueTree* begin_ = reinterpret_cast<ValueTree*>(first_);
  ValueTree* next_ = begin_;
  ValueTree* end_ = begin_ + kFirst;
};

/// Whether a number beyond the range of doubles is beyond its upper end rather than next to zero: its first
/// digit that counts stands at or above the units.
bool isHuge(std::string_view number) {
  const std::size_t e = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, e);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::size_t first = digits.find_first_of("123456789");
  if (first == std::string_view::npos) return false;
  long long exponent = 0;
  std::string_view written = number.substr(std::min(e + 1, number.size()));
  if (written.starts_with('+')) written.remove_prefix(1);
  const auto [end, failure] = std::from_chars(written.data(), written.data() + written.size(), exponent);
  if (failure == std::errc::result_out_of_range) return !written.starts_with('-');
  return static_cast<long long>(point) - static_cast<long long>(first) + exponent > 0;
}

/// Powers that a double holds exactly.
constexpr double kPowersOfTen[] = {1e0, 1e1, 1e2,  1e3,  1e4,  1e5,  1e6,  1e7,
                                   1e8, 1e9, 1e10, 1e11, 1e12, 1e13, 1e14, 1e15};

/// A number of at most 15 digits without an exponent: an integer, or a quotient of two numbers that doubles
/// hold exactly, which is why it is rounded correctly. Absent for others.
std::optional<ValueTree> shortNumber(std::string_view text) {
  const bool minus = text.front() == '-';
  if (minus) text.remove_prefix(1);
  if (text.size() > 16) return std::nullopt;
  std::int64_t digits = 0;
  std::size_t i = 0;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) digits = digits * 10 + (text[i] - '0');
  if (i == text.size()) {
    if (minus && digits == 0) return ValueTree(-0.0);
    return ValueTree(minus ? -digits : digits);
  }
  if (text[i] != '.') return std::nullopt;
  const std::size_t fraction = text.size() - i - 1;
  for (++i; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) digits = digits * 10 + (text[i] - '0');
  if (i != text.size()) return std::nullopt;
  const double value = static_cast<double>(digits) / kPowersOfTen[fraction];
  return ValueTree(minus ? -value : value);
}

std::optional<ValueTree> longNumber(std::string_view text) {
  const char* const end = text.data() + text.size();
  if (text.find_first_of(".eE") == std::string_view::npos) {
    std::int64_t integer;
    if (std::from_chars(text.data(), end, integer).ec == std::errc{}) return ValueTree(integer);
    std::uint64_t large;
    if (std::from_chars(text.data(), end, large).ec == std::errc{}) return ValueTree(large);
  }
  double value;
  if (std::from_chars(text.data(), end, value).ec == std::errc{}) return ValueTree(value);
  if (isHuge(text)) return std::nullopt;
  return ValueTree(text.starts_with('-') ? -0.0 : 0.0);
}

/// Takes the reader's events and lays the values down in the arena.
class Builder {
 public:
  Builder(Arena* arena, bool checksStrings) : arena_(arena), checksStrings_(checksStrings) {}

  bool Null() { return add(ValueTree()); }
  bool Bool(bool value) { return add(ValueTree(value)); }
  bool RawNumber(const char* text, unsigned length, bool) {
    const std::string_view number(text, length);
    std::optional<ValueTree> value = shortNumber(number);
    if (!value) value = longNumber(number);
    return value && add(*std::move(value));
  }
  bool String(const char* text, unsigned length, bool) {
    if (checksStrings_ && !platform::detail::isUtf8({text, length})) return false;
    if (length <= ValueAccess::kInlineText) return add(ValueAccess::shortText(text, length));
    void* const place = arena_->allocate(sizeof(Text));
    return add(ValueAccess::make(Kind::String, new (place) Text{{arena_, {1}}, {text, length}}));
  }
  bool Key(const char* text, unsigned length, bool copy) { return String(text, length, copy); }
  bool StartObject() { return ++depth_ <= kMaxDepth; }
  bool StartArray() { return ++depth_ <= kMaxDepth; }
  bool EndObject(unsigned count) { return end(true, count); }
  bool EndArray(unsigned count) { return end(false, count); }

  // Numbers arrive as text, so none of these is called.
  bool Int(int) { return false; }
  bool Uint(unsigned) { return false; }
  bool Int64(std::int64_t) { return false; }
  bool Uint64(std::uint64_t) { return false; }
  bool Double(double) { return false; }

  /// The value that was read; points into the arena without being counted.
  void takeResult(ValueTree& result) { values_.pop(1, &result); }

 private:
  bool add(ValueTree&& value) {
    values_.push(std::move(value));
    return true;
  }

  bool end(bool isDictionary, std::size_t count) {
    --depth_;
    const Kind kind = isDictionary ? Kind::Dictionary : Kind::List;
    if (count == 0) return add(ValueAccess::make(kind, nullptr));
    Container* const container = Container::create(isDictionary, count, arena_);
    values_.pop(isDictionary ? 2 * count : count, container->items());
    container->size = count;
    if (isDictionary) container->mergeEqualKeys();
    return add(ValueAccess::make(kind, container));
  }

  PendingValues values_;
  Arena* const arena_;
  std::size_t depth_ = 0;
  const bool checksStrings_;
};

/// JSON has these nowhere, and the reader's wide comparisons in strings let some of them (0x1a to 0x1f) pass.
bool hasForbiddenControls(std::string_view text) {
  unsigned found = 0;
  for (const char character : text) found |= static_cast<unsigned char>(character - 0x1a) < 6 ? 1 : 0;
  return found != 0;
}

/// Room behind the text: its end mark, and what the reader's and our own wide loads may touch.
constexpr std::size_t kPadding = 32;

}  // namespace

std::optional<ValueTree> parse(std::string_view text) {
  if (text.size() > std::numeric_limits<std::uint32_t>::max()) return std::nullopt;
  if (!platform::detail::isUtf8(text) || hasForbiddenControls(text)) return std::nullopt;
  // Values take about as much room again as the text; what goes past this comes in further chunks.
  Arena* const arena = Arena::create(text.size() * 2 + kPadding);
  char* const copy = static_cast<char*>(arena->allocate(text.size() + kPadding));
  text.copy(copy, text.size());
  std::memset(copy + text.size(), 0, kPadding);

  // Only through an escape can a text that is UTF-8 give a string that is not.
  const bool mayHoldSurrogates = text.find("\\ud") != text.npos || text.find("\\uD") != text.npos;
  Builder builder(arena, mayHoldSurrogates);
  vantrel_rapidjson::InsituStringStream stream(copy);
  vantrel_rapidjson::Reader reader;
  constexpr unsigned kFlags =
      vantrel_rapidjson::kParseInsituFlag | vantrel_rapidjson::kParseNumbersAsStringsFlag;
  // The reader takes a zero byte for the end of the text.
  if (reader.Parse<kFlags>(stream, builder).IsError() || stream.Tell() != text.size()) {
    arena->release();
    return std::nullopt;
  }
  std::optional<ValueTree> result(std::in_place);
  builder.takeResult(*result);
  if (!ValueAccess::isShared(*result)) arena->release();
  return result;
}

}  // namespace vantrel::json
