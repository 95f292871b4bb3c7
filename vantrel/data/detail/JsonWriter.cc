#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>

#include "vantrel/base/Utf8.h"
#include "vantrel/base/ValueStorage.h"
#include "vantrel/data/Json.h"
#include "vantrel/data/detail/JsonCharacters.h"
#include "vantrel/data/detail/JsonOutput.h"
#include "vantrel/data/detail/ValueFault.h"

namespace vantrel::json {

namespace {

using detail::Output;
using storage::ValueAccess;
using Kind = ValueTree::Kind;

constexpr const char* kNestedTooDeeply = "nested too deeply";

/// Writes a double that is a decimal number of up to six places, as most are, null for others. Of decimal
/// numbers with up to 15 digits no two are the same double, so that there is no shorter one.
char* putDecimal(char* next, double value) {
  constexpr int kPlaces = 6;
  constexpr double kScale = 1e6;
  const double size = std::fabs(value);
  if (!(size >= 1e-3 && size < 1e9)) return nullptr;
  // Rounded cheaply; where that goes wrong, the comparison below fails.
  const auto scaled = static_cast<std::int64_t>(size * kScale + 0.5);  // NOLINT(bugprone-incorrect-roundings)
  // Both are exact as doubles, so that this is what reading the digits gives.
  if (static_cast<double>(scaled) / kScale != size) return nullptr;
  if (value < 0) *next++ = '-';
  next = std::to_chars(next, next + 10, scaled / 1'000'000).ptr;
  auto fraction = static_cast<std::uint32_t>(scaled % 1'000'000);
  *next = '.';
  for (int place = kPlaces; place > 0; --place, fraction /= 10) {
    next[place] = static_cast<char>('0' + fraction % 10);
  }
  char* last = next + kPlaces;
  while (*last == '0' && last != next + 1) --last;
  return last + 1;
}

bool isPlain(char character) {
  return static_cast<signed char>(character) >= 0x20 && character != '"' && character != '\\';
}

class Writer {
 public:
  explicit Writer(std::size_t indent) : indent_(indent) {}

  std::optional<std::string> write(const ValueTree& value) {
    output_.reserve(kLongestNumber);
    if (!(isFull(value) ? writeContainer(value) : writeOne(value))) return std::nullopt;
    return output_.take();
  }

 private:
  /// A container of which the values before `next` are written.
  struct Open {
    const ValueTree* first;
    const ValueTree* next;
    const ValueTree* end;
    bool isDictionary;
  };

  static constexpr std::size_t kLongestNumber = 32;
  static constexpr std::size_t kLongestEscape = 6;

  /// What always fits behind a string: its quote, and what may follow a key.
  static constexpr std::size_t kBehindString = 3 + kLongestNumber;

  static bool isFull(const ValueTree& value) {
    const bool isContainer = value.kind() == Kind::List || value.kind() == Kind::Dictionary;
    return isContainer && ValueAccess::size(value) != 0;
  }

  bool writeContainer(const ValueTree& value) {
    // The innermost one; those around it wait in `open_`.
    Open open = opened(value);
    while (true) {
      if (open.isDictionary) open.next = ValueAccess::skipHoles(open.next, open.end);
      if (open.next == open.end) {
        --depth_;
        startLine();
        output_.put(open.isDictionary ? '}' : ']');
        if (depth_ == 0) return true;
        open = open_[depth_ - 1];
        continue;
      }
      if (!startValue(open)) return false;
      const ValueTree& next = *open.next++;
      if (!isFull(next)) {
        if (!writeOne(next)) return false;
        continue;
      }
      if (depth_ == kMaxDepth) return false;
      open_[depth_ - 1] = open;
      open = opened(next);
    }
  }

  Open opened(const ValueTree& value) {
    const bool isDictionary = value.kind() == Kind::Dictionary;
    output_.put(isDictionary ? '{' : '[');
    ++depth_;
    const ValueTree* first = ValueAccess::cells(value);
    const ValueTree* const end = first + ValueAccess::slots(value) * (isDictionary ? 2 : 1);
    if (isDictionary) first = ValueAccess::skipHoles(first, end);
    return {first, first, end, isDictionary};
  }

  /// Writes what stands before the next value; of a member that is its key too.
  bool startValue(Open& open) {
    output_.reserve(1);
    if (open.next != open.first) output_.put(',');
    startLine();
    if (!open.isDictionary) return true;
    if (!writeString(*open.next++)) return false;
    output_.put(':');
    if (indent_ != 0) output_.put(' ');
    return true;
  }

  /// Leaves room for a bracket or number.
  void startLine() {
    const std::size_t indent = depth_ * indent_;
    output_.reserve(1 + indent + Output::kSpacesMore + kLongestNumber);
    if (indent_ == 0) return;
    output_.put('\n');
    output_.putSpaces(indent);
  }

  /// A value that is no container or an empty one.
  bool writeOne(const ValueTree& value) {
    switch (value.kind()) {
      case Kind::Null:
        output_.put("null");
        return true;
      case Kind::Boolean:
        output_.put(*value.asBoolean() ? "true" : "false");
        return true;
      case Kind::Integer:
        return writeInteger(value);
      case Kind::Floating:
        return writeDouble(*value.asDouble());
      case Kind::String:
        return writeString(value);
      case Kind::List:
      case Kind::Dictionary:
        if (depth_ == kMaxDepth) return false;
        output_.put(value.kind() == Kind::List ? "[]" : "{}");
        return true;
      case Kind::Date:
      case Kind::Data:
        return false;
    }
    return false;
  }

  bool writeInteger(const ValueTree& value) {
    char* const next = output_.next();
    const auto integer = value.asInteger();
    output_.advanceTo(integer ? std::to_chars(next, next + kLongestNumber, *integer).ptr
                              : std::to_chars(next, next + kLongestNumber, *value.asUnsigned()).ptr);
    return true;
  }

  /// The shortest digits that read back to the same double, with a fraction or an exponent, so that it stays
  /// one.
  bool writeDouble(double value) {
    if (!std::isfinite(value)) return false;
    char* const next = output_.next();
    if (char* const end = putDecimal(next, value)) {
      output_.advanceTo(end);
      return true;
    }
    char* const end = std::to_chars(next, next + kLongestNumber - 2, value).ptr;
    const bool looksInteger =
        std::string_view(next, static_cast<std::size_t>(end - next)).find_first_of(".e") ==
        std::string_view::npos;
    output_.advanceTo(end);
    if (looksInteger) output_.put(".0");
    return true;
  }

  /// From the opening quote to the closing one there is always room for all that is left if it is plain.
  bool writeString(const ValueTree& string) {
    const std::string_view text = ValueAccess::text(string);
    output_.reserve(text.size() + 1 + kBehindString);
    output_.put('"');
    const bool isShort = text.size() <= ValueAccess::kInlineText && !ValueAccess::isCounted(string);
    if (!(isShort ? putShort(text) : putLong(text))) return false;
    output_.put('"');
    return true;
  }

  /// A text inside of its value, where behind it stand zeros.
  bool putShort(std::string_view text) {
    constexpr std::size_t kWidth = ValueAccess::kInlineText;
    std::size_t plain = detail::plainAmong8(text.data());
    if (plain == 8) plain = kWidth - 8 + detail::plainAmong8(text.data() + kWidth - 8);
    if (plain < text.size()) return putByParts(text);
    std::memcpy(output_.next(), text.data(), kWidth);
    output_.advanceTo(output_.next() + text.size());
    return true;
  }

  bool putLong(std::string_view text) {
    const char* const end = text.data() + text.size();
    const bool isWide = text.size() >= 16;
    while (text.size() >= 16) {
      if (!putPlain<16>(text, detail::plainAmong16(text.data()))) return false;
    }
    if (!isWide || detail::plainAmong16(end - 16) != 16) return putByParts(text);
    // What is plain stands in the output as it is, so that it may be written again up to the end.
    char* const outputEnd = output_.next() + text.size();
    std::memcpy(outputEnd - 16, end - 16, 16);
    output_.advanceTo(outputEnd);
    return true;
  }

  bool putByParts(std::string_view text) {
    while (text.size() >= 8) {
      if (!putPlain<8>(text, detail::plainAmong8(text.data()))) return false;
    }
    while (!text.empty()) {
      if (!putPlain<1>(text, isPlain(text.front()) ? 1 : 0)) return false;
    }
    return true;
  }

  /// Puts the first `count` characters, which are plain, and, if these are fewer than the width that was
  /// looked at, the one behind them.
  template <std::size_t width>
  bool putPlain(std::string_view& text, std::size_t count) {
    std::memcpy(output_.next(), text.data(), width);
    output_.advanceTo(output_.next() + count);
    text.remove_prefix(count);
    return count == width || putOther(text);
  }

  bool putOther(std::string_view& text) {
    output_.reserve(kLongestEscape + text.size() + kBehindString);
    std::size_t length = 1;
    if (static_cast<signed char>(text.front()) < 0) {
      length = text::utf8SequenceLength(text);
      output_.put(text.substr(0, length));
    } else {
      putEscaped(text.front());
    }
    text.remove_prefix(length);
    return length != 0;
  }

  void putEscaped(char character) {
    constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
    constexpr std::string_view kNames = "\"\\bfnrt";
    const auto code = static_cast<unsigned char>(character);
    output_.put('\\');
    if (const std::size_t named = kNamed.find(character); named != std::string_view::npos) {
      return output_.put(kNames[named]);
    }
    output_.put("u00");
    output_.put(code < 0x10 ? '0' : '1');
    output_.put("0123456789abcdef"[code & 0xf]);
  }

  const std::size_t indent_;  // zero for one line
  Output output_;
  std::size_t depth_ = 0;
  Open open_[kMaxDepth];
};

const char* objectionTo(const ValueTree& value, std::size_t below) {
  switch (value.kind()) {
    case Kind::Floating:
      if (std::isnan(*value.asDouble())) return "NaN has no form in JSON";
      return std::isinf(*value.asDouble()) ? "an infinite number has no form in JSON" : nullptr;
    case Kind::Date:
      return "a date has no form in JSON";
    case Kind::Data:
      return "data have no form in JSON";
    case Kind::List:
    case Kind::Dictionary:
      return below >= kMaxDepth ? kNestedTooDeeply : nullptr;
    default:
      return nullptr;
  }
}

Error reasonAgainst(const ValueTree& value) {
  const auto fault = data::detail::firstFault(value, objectionTo);
  return fault->error(kErrorDomain, fault->why == kNestedTooDeeply ? kTooDeep : kNotWritable);
}

Result<std::string> write(const ValueTree& value, std::size_t indent) {
  if (std::optional<std::string> text = Writer(indent).write(value)) return *std::move(text);
  return reasonAgainst(value);
}

}  // namespace

Result<std::string> writePretty(const ValueTree& value) { return write(value, 4); }

Result<std::string> writeCompact(const ValueTree& value) { return write(value, 0); }

}  // namespace vantrel::json
