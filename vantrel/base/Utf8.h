#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"

/// UTF-8 (RFC 3629) and UTF-16, without any table of another library. Stateless; any thread.
namespace vantrel::text {

/// Whether the text is well-formed UTF-8 (no overlong forms, no surrogates, nothing past U+10FFFF).
VANTREL_EXPORT bool isValidUtf8(TextArgument text);

/// The count of bytes at the start of the text that are well-formed UTF-8.
VANTREL_EXPORT std::size_t validUtf8Prefix(std::string_view text);

/// Conversions between UTF-8 and UTF-16 code units; what is invalid becomes U+FFFD.
VANTREL_EXPORT std::u16string utf16(TextArgument text);
VANTREL_EXPORT std::string utf8(std::u16string_view text);

/// What a byte beyond ASCII asks of those behind it, by Table 3-7 of the Unicode Standard: the range of the
/// second shuts out overlong forms, surrogates and what is above U+10FFFF; any others are 0x80 to 0xBF.
struct Utf8Lead {
  std::uint8_t length;  ///< of the whole sequence; 0 for a byte that begins none
  std::uint8_t secondFrom;
  std::uint8_t secondTo;
};

constexpr Utf8Lead utf8Lead(std::uint8_t byte) noexcept {
  if (byte < 0xC2 || byte > 0xF4) return {0, 0, 0};
  const std::uint8_t length = byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
  const std::uint8_t from = byte == 0xE0 ? 0xA0 : byte == 0xF0 ? 0x90 : 0x80;
  const std::uint8_t to = byte == 0xED ? 0x9F : byte == 0xF4 ? 0x8F : 0xBF;
  return {length, from, to};
}

/// Whether a character begins with this byte, rather than goes on.
constexpr bool beginsCharacter(char byte) noexcept {
  return (static_cast<std::uint8_t>(byte) & 0xC0) != 0x80;
}

/// Length of the sequence at `text`, which starts beyond ASCII; 0 when it is malformed. Reads no byte behind
/// one that cannot belong to it, so any ASCII character ends the text well enough.
inline std::size_t utf8SequenceLength(const char* text) noexcept {
  const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text);
  const Utf8Lead lead = utf8Lead(bytes[0]);
  if (lead.length == 0 || bytes[1] < lead.secondFrom || bytes[1] > lead.secondTo) return 0;
  for (std::size_t i = 2; i < lead.length; ++i) {
    if ((bytes[i] & 0xC0) != 0x80) return 0;
  }
  return lead.length;
}

/// The same where `text` is not empty and nothing behind it may be read.
inline std::size_t utf8SequenceLength(std::string_view text) noexcept {
  if (text.size() >= 4) return utf8SequenceLength(text.data());
  char padded[4] = {};
  text.copy(padded, 3);
  return utf8SequenceLength(padded);
}

}  // namespace vantrel::text
