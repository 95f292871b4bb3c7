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
  explicit XmlReader(std::string_view document) : scanner_(document) {}

  std::optional<ValueTree> read() {
    if (!scanner_.passProlog() || !next(Form::Start, "plist")) return std::nullopt;
    while (!top_) {
      const auto tag = scanner_.nextTag();
      if (!tag || !take(*tag)) return std::nullopt;
    }
    if (!next(Form::End, "plist") || !scanner_.atEnd()) return std::nullopt;
    return std::move(top_);
  }

 private:
  struct Frame {
    ValueTree container;
    std::optional<std::string> key;  // of the value that comes next
  };

  bool next(Form form, std::string_view name) {
    const auto tag = scanner_.nextTag();
    return tag && tag->form == form && tag->name == name;
  }

  bool take(const XmlScanner::Tag& tag) {
    if (tag.form == Form::End) return close(tag.name);
    if (tag.name == "array") return open(tag, ValueTree::list());
    if (tag.name == "dict") return open(tag, ValueTree::dictionary());
    std::string text;
    if (tag.form == Form::Start) {
      std::optional<std::string> inside = scanner_.text();
      if (!inside || !next(Form::End, tag.name)) return false;
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
    if (frames_.size() >= kMaxLevels) return false;
    if (tag.form == Form::Empty) return add(std::move(empty));
    frames_.push_back({std::move(empty), std::nullopt});
    return true;
  }

  bool close(std::string_view name) {
    if (frames_.empty() || frames_.back().key) return false;
    ValueTree closed = std::move(frames_.back().container);
    frames_.pop_back();
    return name == (closed.kind() == ValueTree::Kind::List ? "array" : "dict") && add(std::move(closed));
  }

  bool takeKey(std::string key) {
    if (frames_.empty() || frames_.back().container.kind() != ValueTree::Kind::Dictionary) return false;
    return !std::exchange(frames_.back().key, std::move(key));
  }

  bool add(ValueTree value) {
    if (++values_ > kMaxValues) return false;
    if (frames_.empty()) {
      top_ = std::move(value);
    } else if (Frame& frame = frames_.back(); frame.container.kind() == ValueTree::Kind::List) {
      frame.container.append(std::move(value));
    } else {
      if (!frame.key) return false;
      frame.container.set(*std::exchange(frame.key, std::nullopt), std::move(value));
    }
    return true;
  }

  XmlScanner scanner_;
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

std::optional<ValueTree> parseXml(const Bytes& contents) {
  if (contents.size() > kMaxContents) return std::nullopt;
  if (!isUtf16(contents.text())) {
    if (!text::isValidUtf8(contents.text())) return std::nullopt;
    return XmlReader(contents.text()).read();
  }
  constexpr std::uint64_t kUtf16WithMark = 10;
  const std::optional<std::string> decoded = text::decode(contents, kUtf16WithMark);
  return decoded ? XmlReader(*decoded).read() : std::nullopt;
}

}  // namespace vantrel::plist::detail
