#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstring>
#include <vector>

#include "vantrel/platform/data/Json.h"
#include "vantrel/platform/detail/Utf8.h"

namespace vantrel::json {

namespace {

using Kind = ValueTree::Kind;

/// A text that grows; what is put has to be reserved before.
class Output {
 public:
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
    text_.resize(static_cast<std::size_t>(next_ - text_.data()));
    return std::move(text_);
  }

 private:
  void grow(std::size_t size) {
    const auto used = static_cast<std::size_t>(next_ - text_.data());
    text_.resize(std::max(text_.size() * 2, used + size + 1024));
    next_ = text_.data() + used;
    end_ = text_.data() + text_.size();
  }

  std::string text_;
  char* next_ = text_.data();
  char* end_ = next_;
};

constexpr std::uint64_t repeated(std::uint8_t byte) { return std::uint64_t{0x0101010101010101} * byte; }

/// True when none of eight characters is a quote, a backslash, a control character or beyond ASCII; false is
/// always safe.
bool arePlain(std::uint64_t characters) {
  const auto hasZero = [](std::uint64_t word) { return (word - repeated(1)) & ~word; };
  const std::uint64_t special = hasZero(characters ^ repeated('"')) | hasZero(characters ^ repeated('\\')) |
                                (characters - repeated(0x20)) | characters;
  return (special & repeated(0x80)) == 0;
}

bool isBeyondAscii(char character) { return static_cast<signed char>(character) < 0; }

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
  static constexpr std::size_t kStride = 4096;

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
    char* const end = std::to_chars(next, next + kLongestNumber - 2, value).ptr;
    const bool looksInteger =
        std::string_view(next, static_cast<std::size_t>(end - next)).find_first_of(".e") ==
        std::string_view::npos;
    output_.advanceTo(end);
    if (looksInteger) output_.put(".0");
    return true;
  }

  bool writeString(std::string_view text) {
    output_.reserve(2);
    output_.put('"');
    bool isChecked = false;
    while (!text.empty()) {
      output_.reserve(kStride * kLongestEscape + 2);
      const std::size_t stride = std::min(text.size(), kStride);
      if (!isChecked && std::any_of(text.begin(), text.begin() + stride, isBeyondAscii)) {
        // What stands before this is ASCII, so what is left can be checked by itself.
        if (!platform::detail::isUtf8(text)) return false;
        isChecked = true;
      }
      putEscaped(text.substr(0, stride));
      text.remove_prefix(stride);
    }
    output_.put('"');
    return true;
  }

  void putEscaped(std::string_view text) {
    for (; text.size() >= 8; text.remove_prefix(8)) {
      std::uint64_t characters;
      std::memcpy(&characters, text.data(), 8);
      if (arePlain(characters)) {
        output_.put(text.substr(0, 8));
      } else {
        for (const char character : text.substr(0, 8)) putCharacter(character);
      }
    }
    for (const char character : text) putCharacter(character);
  }

  void putCharacter(char character) {
    constexpr std::string_view kNamed = "\"\\\b\f\n\r\t";
    constexpr std::string_view kNames = "\"\\bfnrt";
    const auto code = static_cast<unsigned char>(character);
    if (code >= 0x20 && character != '"' && character != '\\') return output_.put(character);
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
