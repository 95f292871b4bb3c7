#pragma once

#include <cstddef>
#include <string_view>

namespace vantrel::platform::detail {

/// Length of the UTF-8 sequence (RFC 3629) at `text`, which starts beyond ASCII; 0 when it is malformed.
/// Reads no byte behind one that cannot belong to it, so any ASCII character ends the text well enough.
inline std::size_t sequenceLength(const char* text) noexcept {
  const auto* const bytes = reinterpret_cast<const unsigned char*>(text);
  const auto isTail = [](unsigned char byte) { return (byte & 0xc0) == 0x80; };
  const unsigned char lead = bytes[0];
  if (lead < 0xc2 || lead > 0xf4) return 0;
  if (lead < 0xe0) return isTail(bytes[1]) ? 2 : 0;
  // The second byte's range shuts out overlong forms, surrogates and what is above U+10FFFF.
  const unsigned char low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (bytes[1] < low || bytes[1] > high || !isTail(bytes[2])) return 0;
  if (lead < 0xf0) return 3;
  return isTail(bytes[3]) ? 4 : 0;
}

/// The same where `text` is not empty and nothing behind it may be read.
inline std::size_t sequenceLength(std::string_view text) noexcept {
  if (text.size() >= 4) return sequenceLength(text.data());
  char padded[4] = {};
  text.copy(padded, 3);
  return sequenceLength(padded);
}

}  // namespace vantrel::platform::detail
