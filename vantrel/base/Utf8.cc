#include "vantrel/base/Utf8.h"

#include <cstring>

namespace vantrel::text {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kFirstSupplementary = 0x10000;

struct Step {
  char32_t character = kReplacement;
  std::size_t length = 1;
};

// One character from the front; what is broken is skipped up to the byte that breaks it.
Step next(std::string_view text) {
  const auto byteAt = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const std::uint8_t first = byteAt(0);
  if (first < 0x80) return {first, 1};
  const Utf8Lead lead = utf8Lead(first);
  if (lead.length == 0) return {};
  char32_t character = first & (0x7FU >> lead.length);
  for (std::size_t i = 1; i < lead.length; ++i) {
    const std::uint8_t from = i == 1 ? lead.secondFrom : 0x80;
    const std::uint8_t to = i == 1 ? lead.secondTo : 0xBF;
    if (i == text.size() || byteAt(i) < from || byteAt(i) > to) return {kReplacement, i};
    character = character << 6 | (byteAt(i) & 0x3FU);
  }
  return {character, lead.length};
}

std::size_t asciiPrefix(std::string_view text) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080;
  std::size_t i = 0;
  for (std::uint64_t word = 0; text.size() - i >= sizeof word; i += sizeof word) {
    std::memcpy(&word, text.data() + i, sizeof word);
    if (word & kHighBits) break;
  }
  while (i < text.size() && static_cast<std::uint8_t>(text[i]) < 0x80) ++i;
  return i;
}

void appendUtf8(std::string& text, char32_t character) {
  const auto tail = [&](int shift) { return static_cast<char>(0x80 | (character >> shift & 0x3F)); };
  if (character < 0x80) {
    text += static_cast<char>(character);
  } else if (character < 0x800) {
    text += {static_cast<char>(0xC0 | character >> 6), tail(0)};
  } else if (character < kFirstSupplementary) {
    text += {static_cast<char>(0xE0 | character >> 12), tail(6), tail(0)};
  } else {
    text += {static_cast<char>(0xF0 | character >> 18), tail(12), tail(6), tail(0)};
  }
}

constexpr bool isLeadSurrogate(char32_t unit) { return unit >= 0xD800 && unit < 0xDC00; }
constexpr bool isTrailSurrogate(char32_t unit) { return unit >= 0xDC00 && unit < 0xE000; }

}  // namespace

std::size_t validUtf8Prefix(std::string_view text) {
  const std::size_t whole = text.size();
  while (true) {
    text.remove_prefix(asciiPrefix(text));
    const std::size_t length = text.empty() ? 0 : utf8SequenceLength(text);
    if (length == 0) return whole - text.size();
    text.remove_prefix(length);
  }
}

bool isValidUtf8(TextArgument text) { return validUtf8Prefix(*text) == (*text).size(); }

std::u16string utf16(TextArgument bytes) {
  std::string_view text = *bytes;
  std::u16string units;
  units.reserve(text.size());
  while (!text.empty()) {
    const Step step = next(text);
    text.remove_prefix(step.length);
    if (step.character < kFirstSupplementary) {
      units += static_cast<char16_t>(step.character);
    } else {
      const char32_t offset = step.character - kFirstSupplementary;
      units +=
          {static_cast<char16_t>(0xD800 | offset >> 10), static_cast<char16_t>(0xDC00 | (offset & 0x3FF))};
    }
  }
  return units;
}

std::string utf8(std::u16string_view units) {
  std::string text;
  text.reserve(units.size());
  for (std::size_t i = 0; i < units.size(); ++i) {
    char32_t character = units[i];
    if (isLeadSurrogate(character) && i + 1 < units.size() && isTrailSurrogate(units[i + 1])) {
      character = kFirstSupplementary + ((character & 0x3FF) << 10 | (units[++i] & 0x3FFU));
    } else if (isLeadSurrogate(character) || isTrailSurrogate(character)) {
      character = kReplacement;
    }
    appendUtf8(text, character);
  }
  return text;
}

}  // namespace vantrel::text
