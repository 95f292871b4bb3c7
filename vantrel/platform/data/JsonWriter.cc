#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/platform/data/Json.h"
#include "vantrel/platform/data/JsonCharacters.h"
#include "vantrel/platform/detail/Utf8.h"

namespace vantrel::json {

namespace {

using Kind = ValueTree::Kind;

/// A text that grows; what is put has to be reserved before.
class Output {
 public:
  Output() = default;
  Output(const Output&) = delete;
  Output& operator=(const Output&) = delete;

  void reserve(std::size_t size) {
    if (size > static_cast<std::size_t>(end_ - next_)) grow(size);
  }
  void put(char character) { *next_++ = character; }
  void put(std::string_view text) { next_ += text.copy(next_, text.size()); }
  void putSpaces(std::size_t count) {
    std::memset(next_, ' ', count);
    next_ += count;
  }
  char* next() { return next_; }
  void advanceTo(char* next) { next_ = next; }

  std::string take() {
    const auto size = static_cast<std::size_t>(next_ - begin());
    if (large_.empty()) return {first_, size};
    large_.resize(size);
    return std::move(large_);
  }

 private:
  char* begin() { return large_.empty() ? first_ : large_.data(); }

  void grow(std::size_t size) {
    const auto used = static_cast<std::size_t>(next_ - begin());
    if (large_.empty()) large_.assign(first_, used);
    large_.resize(used * 2 + size);
    next_ = large_.data() + used;
    end_ = large_.data() + large_.size();
  }

  // A small text is put together here, so that it takes one allocation in the end. A large one is never
  // copied as a whole, because untouched memory costs more than anything that is written to it.
  char first_[4096];
  std::string large_;
  char* next_ = first_;
  char* end_ = first_ + sizeof first_;
};

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
    if (!writeOne(value)) return std::nullopt;
    while (!open_.empty()) {
      if (!step()) return std::nullopt;
    }
    return output_.take();
  }

 private:
  /// A container of which the values before `next` are written.
  struct Open {
    const ValueTree* container;
    std::size_t next;
    std::size_t size;
  };

  static constexpr std::size_t kLongestNumber = 32;
  static constexpr std::size_t kLongestEscape = 6;

  /// Writes the innermost open container's next value, or closes it.
  bool step() {
    Open& open = open_.back();
    const bool isDictionary = open.container->kind() == Kind::Dictionary;
    if (open.next == open.size) {
      open_.pop_back();
      startLine();
      output_.put(isDictionary ? '}' : ']');
      return true;
    }
    if (open.next != 0) {
      output_.reserve(1);
      output_.put(',');
    }
    startLine();
    const std::size_t position = open.next++;
    if (!isDictionary) return writeOne(open.container->items()[position]);
    const ValueTree::Member& member = open.container->members()[position];
    if (!writeString(member.key())) return false;
    output_.reserve(2);
    output_.put(indent_ != 0 ? std::string_view(": ") : std::string_view(":"));
    return writeOne(member.value());
  }

  /// Leaves room for a bracket.
  void startLine() {
    output_.reserve(2 + open_.size() * indent_);
    if (indent_ == 0) return;
    output_.put('\n');
    output_.putSpaces(open_.size() * indent_);
  }

  bool writeOne(const ValueTree& value) {
    output_.reserve(kLongestNumber);
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
        return writeString(*value.asString());
      case Kind::List:
      case Kind::Dictionary:
        return openContainer(value);
      case Kind::Date:
      case Kind::Data:
        return false;
    }
    return false;
  }

  bool openContainer(const ValueTree& value) {
    const bool isDictionary = value.kind() == Kind::Dictionary;
    if (open_.size() == kMaxDepth) return false;
    if (value.size() == 0) {
      output_.put(isDictionary ? "{}" : "[]");
      return true;
    }
    output_.put(isDictionary ? '{' : '[');
    open_.push_back({&value, 0, value.size()});
    return true;
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
    char* end = putDecimal(next, value);
    if (end == nullptr) end = std::to_chars(next, next + kLongestNumber - 2, value).ptr;
    const bool looksInteger =
        std::string_view(next, static_cast<std::size_t>(end - next)).find_first_of(".e") ==
        std::string_view::npos;
    output_.advanceTo(end);
    if (looksInteger) output_.put(".0");
    return true;
  }

  /// From the opening quote to the closing one there is always room for all that is left if it is plain.
  bool writeString(std::string_view text) {
    output_.reserve(text.size() + 2);
    output_.put('"');
    while (text.size() >= 16) {
      if (!putPlain<16>(text, detail::plainAmong16(text.data()))) return false;
    }
    while (text.size() >= 8) {
      if (!putPlain<8>(text, detail::plainAmong8(text.data()))) return false;
    }
    while (!text.empty()) {
      if (!putPlain<1>(text, isPlain(text.front()) ? 1 : 0)) return false;
    }
    output_.put('"');
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
    output_.reserve(kLongestEscape + text.size() + 1);
    std::size_t length = 1;
    if (static_cast<signed char>(text.front()) < 0) {
      length = platform::detail::sequenceLength(text);
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
  std::vector<Open> open_;
};

}  // namespace

std::optional<std::string> writePretty(const ValueTree& value) { return Writer(4).write(value); }

std::optional<std::string> writeCompact(const ValueTree& value) { return Writer(0).write(value); }

}  // namespace vantrel::json
