#include "vantrel/data/detail/XmlScanner.h"

#include <algorithm>
#include <cctype>
#include <utility>

#include "vantrel/base/NumberText.h"
#include "vantrel/base/Utf8.h"

namespace vantrel::plist::detail {
namespace {

constexpr std::string_view kSpace = " \t\r\n";
constexpr std::string_view kComment = "<!--";
constexpr std::string_view kCharacters = "<![CDATA[";
constexpr std::string_view kCharactersEnd = "]]>";

constexpr std::pair<std::string_view, char> kEntities[] = {
    {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"quot", '"'}, {"apos", '\''}};

// Where a tag ends: the first > outside quotes.
std::size_t endOfTag(std::string_view text) {
  char quote = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (quote != 0) {
      if (text[i] == quote) quote = 0;
    } else if (text[i] == '"' || text[i] == '\'') {
      quote = text[i];
    } else if (text[i] == '>') {
      return i;
    }
  }
  return std::string_view::npos;
}

// What XML allows as a character, of those that a reference can name.
bool isCharacter(std::uint32_t code) {
  if (code < 0x20) return code == '\t' || code == '\n' || code == '\r';
  return code <= 0xD7FF || (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

std::string utf8(std::uint32_t code) {
  if (code < 0x10000) return text::utf8(std::u16string(1, static_cast<char16_t>(code)));
  const std::uint32_t offset = code - 0x10000;
  return text::utf8(std::u16string{static_cast<char16_t>(0xD800 + (offset >> 10)),
                                   static_cast<char16_t>(0xDC00 + (offset & 0x3FF))});
}

// The document has been decoded by now, so that UTF-16 is what it was before.
bool isReadEncoding(std::string_view declaration) {
  const std::size_t name = declaration.find("encoding");
  if (name == std::string_view::npos) return true;
  const std::size_t start = declaration.find_first_of("\"'", name);
  if (start == std::string_view::npos) return false;
  const std::size_t end = declaration.find(declaration[start], start + 1);
  if (end == std::string_view::npos) return false;
  std::string encoding(declaration.substr(start + 1, end - start - 1));
  for (char& c : encoding) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return encoding == "UTF-8" || encoding == "UTF-16" || encoding == "US-ASCII";
}

}  // namespace

// From the opening, if it is next, to the closing; false when that is missing.
bool XmlScanner::pass(std::string_view opening, std::string_view closing) {
  const std::size_t end = rest_.find(closing, opening.size());
  if (end == std::string_view::npos) return false;
  rest_.remove_prefix(end + closing.size());
  return true;
}

bool XmlScanner::passMisc() {
  for (;;) {
    rest_.remove_prefix(std::min(rest_.find_first_not_of(kSpace), rest_.size()));
    if (rest_.starts_with(kComment)) {
      if (!pass(kComment, "-->")) return false;
    } else if (rest_.starts_with("<?")) {
      if (!pass("<?", "?>")) return false;
    } else {
      return true;
    }
  }
}

bool XmlScanner::passProlog() {
  if (rest_.starts_with("\uFEFF")) rest_.remove_prefix(3);
  if (rest_.starts_with("<?xml") && !isReadEncoding(rest_.substr(0, rest_.find("?>")))) return false;
  if (!passMisc()) return false;
  if (!rest_.starts_with("<!DOCTYPE")) return true;
  const std::size_t end = endOfTag(rest_);
  // Brackets hold declarations of entities and the like.
  if (end == std::string_view::npos || rest_.substr(0, end).find('[') != std::string_view::npos) return false;
  rest_.remove_prefix(end + 1);
  return true;
}

std::optional<XmlScanner::Tag> XmlScanner::nextTag() {
  const bool isPassed = passMisc();
  lastTag_ = document_.size() - rest_.size();
  if (!isPassed || !rest_.starts_with('<')) return std::nullopt;
  const std::size_t end = endOfTag(rest_);
  if (end == std::string_view::npos) return std::nullopt;
  std::string_view inside = rest_.substr(1, end - 1);
  rest_.remove_prefix(end + 1);
  Tag tag;
  if (inside.starts_with('/')) {
    tag.form = Form::End;
    inside.remove_prefix(1);
    tag.name = inside.substr(0, inside.find_last_not_of(kSpace) + 1);
    return tag;
  }
  if (inside.ends_with('/')) {
    tag.form = Form::Empty;
    inside.remove_suffix(1);
  }
  // Attributes say nothing that a property list would need.
  tag.name = inside.substr(0, inside.find_first_of(kSpace));
  return tag;
}

std::optional<std::string> XmlScanner::text() {
  std::string text;
  for (;;) {
    const std::size_t plain = rest_.find_first_of("<&\r");
    if (plain == std::string_view::npos) return std::nullopt;
    text += rest_.substr(0, plain);
    rest_.remove_prefix(plain);
    if (rest_.starts_with('\r')) {  // line ends are line feeds
      rest_.remove_prefix(rest_.starts_with("\r\n") ? 2 : 1);
      text += '\n';
    } else if (rest_.starts_with('&')) {
      if (!takeReference(text)) return std::nullopt;
    } else if (rest_.starts_with(kCharacters)) {
      const std::string_view before = rest_;
      if (!pass(kCharacters, kCharactersEnd)) return std::nullopt;
      const std::size_t length = before.size() - rest_.size() - kCharacters.size() - kCharactersEnd.size();
      text += before.substr(kCharacters.size(), length);
    } else if (rest_.starts_with(kComment)) {
      if (!pass(kComment, "-->")) return std::nullopt;
    } else {
      return text;
    }
  }
}

bool XmlScanner::takeReference(std::string& text) {
  constexpr std::size_t kLongest = 12;
  const std::size_t end = rest_.substr(0, kLongest).find(';');
  if (end == std::string_view::npos) return false;
  std::string_view name = rest_.substr(1, end - 1);
  rest_.remove_prefix(end + 1);
  for (const auto& [entity, character] : kEntities) {
    if (name != entity) continue;
    text += character;
    return true;
  }
  if (!name.starts_with('#')) return false;
  const int base = name.starts_with("#x") ? 16 : 10;
  name.remove_prefix(base == 16 ? 2 : 1);
  const auto code = text::parseNumber<std::uint32_t>(name, base);
  if (!code || !isCharacter(*code)) return false;
  text += utf8(*code);
  return true;
}

bool XmlScanner::atEnd() { return passMisc() && rest_.empty(); }

}  // namespace vantrel::plist::detail
