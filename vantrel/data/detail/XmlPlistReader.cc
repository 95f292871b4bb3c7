#include "vantrel/data/detail/XmlPlistReader.h"

#include <chrono>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/NumberText.h"
#include "vantrel/base/Utf8.h"
#include "vantrel/data/TextEncoding.h"
#include "vantrel/data/detail/BinaryPlist.h"
#include "vantrel/data/detail/TextPlace.h"
#include "vantrel/data/detail/XmlScanner.h"

namespace vantrel::plist::detail {
namespace {

using Form = XmlScanner::Form;

constexpr std::string_view kSpace = " \t\r\n";
constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string_view trimmed(std::string_view text) {
  const std::size_t start = text.find_first_not_of(kSpace);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kSpace) - start + 1);
}

std::optional<ValueTree> readInteger(std::string_view text) {
  text = trimmed(text);
  const bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  const auto number = text::parseNumber<std::uint64_t>(text);
  if (!number) return std::nullopt;
  if (!negative) return ValueTree(*number);
  if (*number > std::uint64_t{1} << 63) return std::nullopt;
  return ValueTree(static_cast<std::int64_t>(0 - *number));
}

std::optional<ValueTree> readReal(std::string_view text) {
  text = trimmed(text);
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  const auto number = text::parseNumber<double>(text);
  if (!number) return std::nullopt;
  return ValueTree(*number);
}

// As in 2024-02-29T12:30:15Z.
std::optional<ValueTree> readDate(std::string_view text) {
  text = trimmed(text);
  constexpr std::string_view kShape = "0000-00-00T00:00:00Z";
  unsigned parts[6] = {};
  std::size_t part = 0;
  if (text.size() != kShape.size()) return std::nullopt;
  for (std::size_t i = 0; i < kShape.size(); ++i) {
    const bool digit = text[i] >= '0' && text[i] <= '9';
    if (kShape[i] == '0' ? !digit : text[i] != kShape[i]) return std::nullopt;
    if (!digit) {
      ++part;
    } else {
      parts[part] = 10 * parts[part] + static_cast<unsigned>(text[i] - '0');
    }
  }
  const std::chrono::year_month_day day{std::chrono::year(static_cast<int>(parts[0])),
                                        std::chrono::month(parts[1]), std::chrono::day(parts[2])};
  if (!day.ok() || parts[3] > 23 || parts[4] > 59 || parts[5] > 59) return std::nullopt;
  const double days = std::chrono::sys_days(day).time_since_epoch().count();
  return ValueTree(Date{days * 86400 + parts[3] * 3600 + parts[4] * 60 + parts[5]});
}

// Base 64 (RFC 4648), with space anywhere.
std::optional<ValueTree> readBase64(std::string_view text) {
  std::vector<std::uint8_t> bytes;
  bytes.reserve(text.size() / 4 * 3);
  std::uint32_t bits = 0;
  unsigned count = 0;  // of the digits and paddings so far in a group of four
  unsigned padding = 0;
  for (const char c : text) {
    if (kSpace.find(c) != std::string_view::npos) continue;
    const std::size_t digit = kDigits.find(c);
    if (c == '=' ? count < 2 : digit == std::string_view::npos || padding > 0) return std::nullopt;
    padding += c == '=' ? 1 : 0;
    bits = bits << 6 | static_cast<std::uint32_t>(c == '=' ? 0 : digit);
    if (++count < 4) continue;
    for (unsigned i = 0; i < 3 - padding; ++i)
      bytes.push_back(static_cast<std::uint8_t>(bits >> (16 - 8 * i)));
    count = 0;
  }
  if (count != 0) return std::nullopt;
  return ValueTree(Bytes(std::move(bytes)));
}

class XmlReader {
 public:
  explicit XmlReader(std::string_view document) : document_(document), scanner_(document) {}

  Result<ValueTree> read() {
    if (readDocument()) return *std::move(top_);
    return data::detail::errorAt(document_, at_, kErrorDomain, code_, why_);
  }

 private:
  struct Frame {
    ValueTree container;
    std::optional<std::string> key;  // of the value that comes next
  };

  bool readDocument() {
    if (!scanner_.passProlog()) return fail("expected UTF-8 or UTF-16 and a document type without entities");
    if (!next(Form::Start, "plist")) return false;
    while (!top_) {
      const auto tag = scanner_.nextTag();
      at_ = scanner_.lastTag();
      if (!tag) return fail("expected a tag");
      if (!take(*tag)) return fail("expected a value that a property list can hold");
    }
    if (!next(Form::End, "plist")) return false;
    at_ = scanner_.lastTag();
    return scanner_.atEnd() || fail("expected nothing behind </plist>");
  }

  /// False; the first reason counts.
  bool fail(std::string why, ErrorCode code = kMalformed) {
    if (!why_.empty()) return false;
    why_ = std::move(why);
    code_ = code;
    return false;
  }

  bool next(Form form, std::string_view name) {
    const auto tag = scanner_.nextTag();
    if (tag && tag->form == form && tag->name == name) return true;
    at_ = scanner_.lastTag();
    return fail("expected <" + std::string(form == Form::End ? "/" : "").append(name) + ">");
  }

  bool take(const XmlScanner::Tag& tag) {
    if (tag.form == Form::End) return close(tag.name);
    if (tag.name == "array") return open(tag, ValueTree::list());
    if (tag.name == "dict") return open(tag, ValueTree::dictionary());
    std::string text;
    if (tag.form == Form::Start) {
      std::optional<std::string> inside = scanner_.text();
      if (!inside) return fail("expected text without other entities up to the next tag");
      if (!next(Form::End, tag.name)) return false;
      text = std::move(*inside);
    }
    if (tag.name == "key") return takeKey(std::move(text));
    std::optional<ValueTree> value = leaf(tag.name, text);
    return value && add(std::move(*value));
  }

  static std::optional<ValueTree> leaf(std::string_view name, const std::string& text) {
    if (name == "string") return ValueTree(text);
    if (name == "integer") return readInteger(text);
    if (name == "real") return readReal(text);
    if (name == "date") return readDate(text);
    if (name == "data") return readBase64(text);
    if ((name == "true" || name == "false") && trimmed(text).empty()) return ValueTree(name == "true");
    return std::nullopt;
  }

  bool open(const XmlScanner::Tag& tag, ValueTree empty) {
    if (frames_.size() >= kMaxLevels) return fail("nested too deeply", kPastBounds);
    if (tag.form == Form::Empty) return add(std::move(empty));
    frames_.push_back({std::move(empty), std::nullopt});
    return true;
  }

  bool close(std::string_view name) {
    if (frames_.empty() || frames_.back().key) return fail("expected a value");
    ValueTree closed = std::move(frames_.back().container);
    frames_.pop_back();
    const std::string_view opened = closed.kind() == ValueTree::Kind::List ? "array" : "dict";
    if (name != opened) return fail("expected </" + std::string(opened) + ">");
    return add(std::move(closed));
  }

  bool takeKey(std::string key) {
    if (frames_.empty() || frames_.back().container.kind() != ValueTree::Kind::Dictionary) {
      return fail("expected a value, as keys stand in a <dict> only");
    }
    return !std::exchange(frames_.back().key, std::move(key)) || fail("expected a value behind the key");
  }

  bool add(ValueTree value) {
    if (++values_ > kMaxValues) return fail("too many values", kPastBounds);
    if (frames_.empty()) {
      top_ = std::move(value);
    } else if (Frame& frame = frames_.back(); frame.container.kind() == ValueTree::Kind::List) {
      frame.container.append(std::move(value));
    } else {
      if (!frame.key) return fail("expected a <key>");
      frame.container.set(*std::exchange(frame.key, std::nullopt), std::move(value));
    }
    return true;
  }

  const std::string_view document_;
  XmlScanner scanner_;
  std::size_t at_ = 0;  // of the tag in hand
  std::string why_;
  ErrorCode code_ = kMalformed;
  std::vector<Frame> frames_;
  std::uint64_t values_ = 0;
  std::optional<ValueTree> top_;
};

bool isUtf16(std::string_view contents) {
  return contents.starts_with("\xFE\xFF") || contents.starts_with("\xFF\xFE");
}

}  // namespace

bool looksLikeXml(const Bytes& contents) {
  std::string_view text = contents.text();
  if (isUtf16(text)) return true;
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  return trimmed(text.substr(0, text.find('<') + 1)) == "<";
}

Result<ValueTree> parseXml(const Bytes& contents) {
  if (contents.size() > kMaxContents) {
    return Error::saying(kErrorDomain, kPastBounds,
                         "too large: more than " + std::to_string(kMaxContents) + " bytes");
  }
  constexpr std::uint64_t kUtf16WithMark = 10;
  const bool isWide = isUtf16(contents.text());
  // Decoding UTF-8 would be a copy.
  if (!isWide && text::isValidUtf8(contents.text())) return XmlReader(contents.text()).read();
  const Result<std::string> decoded = text::decode(contents, isWide ? kUtf16WithMark : text::kUtf8);
  if (!decoded) return Error::saying(kErrorDomain, kMalformed, decoded.error().description());
  return XmlReader(*decoded).read();
}

}  // namespace vantrel::plist::detail
