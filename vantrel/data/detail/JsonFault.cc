#include "vantrel/data/detail/JsonFault.h"

#include <algorithm>
#include <cstdint>
#include <string>

#include "vantrel/base/NumberText.h"
#include "vantrel/base/Utf8.h"
#include "vantrel/data/Json.h"
#include "vantrel/data/detail/JsonNumber.h"
#include "vantrel/data/detail/TextPlace.h"

namespace vantrel::json::detail {

namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Passes over what the reader reads, and stops where the reader would. Each step starts at `at_` and gives
/// false when it has found the fault.
class FaultFinder {
 public:
  explicit FaultFinder(std::string_view text) : text_(text) {}

  std::optional<Error> find() {
    do {
      if (!passValue() || !passAfterValue()) return error();
    } while (!open_.empty());
    passSpace();
    if (at_ == text_.size()) return std::nullopt;
    fail("expected the end of the text");
    return error();
  }

 private:
  /// At the end of the text a zero byte, which JSON has no place for either.
  char here() const { return at_ < text_.size() ? text_[at_] : '\0'; }
  std::string_view rest() const { return text_.substr(at_); }

  bool pass(std::size_t count) {
    at_ += count;
    return true;
  }

  bool failAt(std::size_t place, std::string_view why) {
    at_ = place;
    return fail(why);
  }

  bool fail(std::string_view why, ErrorCode code = kNotJson) {
    why_ = why;
    code_ = code;
    if (at_ == text_.size() && why.starts_with("expected")) why_ += ", not the end of the text";
    return false;
  }

  Error error() const { return data::detail::errorAt(text_, at_, kErrorDomain, code_, why_); }

  void passSpace() { at_ = std::min(text_.find_first_not_of(" \n\r\t", at_), text_.size()); }

  bool passDigits() {
    if (!isDigit(here())) return fail("expected a digit");
    while (isDigit(here())) ++at_;
    return true;
  }

  /// A value that is no container or an empty one; before it the starts of those around it.
  bool passValue() {
    for (std::string_view wanted = "expected a value";;) {
      passSpace();
      const char first = here();
      if (first == '"') return passString();
      if (first == '-' || isDigit(first)) return passNumber();
      if (first != '{' && first != '[') return passName(wanted);
      const bool isDictionary = first == '{';
      if (open_.size() == kMaxDepth) {
        return fail("nested too deeply", kTooDeep);
      }
      ++at_;
      passSpace();
      if (here() == (isDictionary ? '}' : ']')) return pass(1);
      open_ += first;
      if (isDictionary && !passKey(R"(expected a string key or "}")")) return false;
      wanted = isDictionary ? "expected a value" : R"(expected a value or "]")";
    }
  }

  /// The ends of the containers that the last value completes, and what leads to the next value.
  bool passAfterValue() {
    for (; !open_.empty(); open_.pop_back(), ++at_) {
      const bool isDictionary = open_.back() == '{';
      passSpace();
      if (here() == ',') return pass(1) && (!isDictionary || passKey("expected a string key"));
      if (here() == (isDictionary ? '}' : ']')) continue;
      return fail(isDictionary ? R"(expected "," or "}")" : R"(expected "," or "]")");
    }
    return true;
  }

  bool passKey(std::string_view wanted) {
    passSpace();
    if (here() != '"') return fail(wanted);
    if (!passString()) return false;
    passSpace();
    return here() == ':' ? pass(1) : fail(R"(expected ":")");
  }

  bool passName(std::string_view wanted) {
    for (const std::string_view name : {"true", "false", "null"}) {
      if (rest().starts_with(name)) return pass(name.size());
    }
    return fail(rest().starts_with("\uFEFF") ? "expected a value, not a byte-order mark" : wanted);
  }

  bool passNumber() {
    const std::size_t start = at_;
    if (here() == '-') ++at_;
    const bool isZero = here() == '0';
    const std::size_t digits = at_;
    if (!passDigits()) return false;
    if (isZero && at_ - digits != 1) return failAt(digits, "expected a number without leading zeros");
    if (here() == '.' && !(pass(1) && passDigits())) return false;
    if (here() == 'e' || here() == 'E') {
      ++at_;
      if (here() == '-' || here() == '+') ++at_;
      if (!passDigits()) return false;
    }
    std::string padded(text_.substr(start, at_ - start));
    padded.append(kNumberPadding, '\0');
    ValueTree value;
    if (readNumber(padded.data(), value) != nullptr) return true;
    return failAt(start, "expected a number that a double can hold");
  }

  bool passString() {
    for (++at_; at_ < text_.size();) {
      const auto character = static_cast<unsigned char>(text_[at_]);
      if (character == '"') return pass(1);
      if (character < 0x20) return fail("expected an escape, not a control character itself");
      if (character == '\\') {
        if (!passEscape()) return false;
        continue;
      }
      const std::size_t length = character < 0x80 ? 1 : text::utf8SequenceLength(rest());
      if (length == 0) return fail("expected valid UTF-8");
      at_ += length;
    }
    return fail("expected a closing quote");
  }

  bool passEscape() {
    const char name = at_ + 1 < text_.size() ? text_[at_ + 1] : '\0';
    if (name == 'u') return passUnicodeEscape();
    if (name == '\0' || std::string_view("\"\\/bfnrt").find(name) == std::string_view::npos) {
      return fail("expected a known escape");
    }
    return pass(2);
  }

  bool passUnicodeEscape() {
    const std::size_t start = at_;
    const auto first = passCode();
    if (!first) return fail("expected four hexadecimal digits");
    if (*first < 0xD800 || *first > 0xDFFF) return true;
    const auto second = *first < 0xDC00 && rest().starts_with("\\u") ? passCode() : std::nullopt;
    if (second && *second >= 0xDC00 && *second <= 0xDFFF) return true;
    return failAt(start, "expected two escapes that form a surrogate pair");
  }

  std::optional<std::uint32_t> passCode() {
    const std::string_view digits = text_.substr(at_ + 2, 4);
    const auto code = text::parseNumber<std::uint32_t>(digits, 16);
    if (!code || digits.size() != 4) return std::nullopt;
    at_ += 6;
    return code;
  }

  const std::string_view text_;
  std::size_t at_ = 0;
  std::string open_;  // the opening brackets around it
  std::string why_;
  ErrorCode code_ = kNotJson;
};

}  // namespace

std::optional<Error> faultIn(std::string_view text) { return FaultFinder(text).find(); }

}  // namespace vantrel::json::detail
