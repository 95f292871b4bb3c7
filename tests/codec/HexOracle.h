#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

/// Hexadecimal text read the slow and obvious way, through the C library, to hold the real reader against.
namespace vantrel::tests {

/// The low bytes of the text's UTF-16 code units; the text has to be valid UTF-8.
inline std::string lowBytesOfUnits(std::string_view text) {
  std::string low;
  for (std::size_t i = 0; i < text.size();) {
    const auto byteAt = [&](std::size_t k) { return static_cast<std::uint8_t>(text[k]); };
    const std::uint8_t lead = byteAt(i);
    const std::size_t length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    std::uint32_t character = length == 1 ? lead : lead & (0x7FU >> length);
    for (std::size_t k = 1; k < length; ++k) character = character << 6 | (byteAt(i + k) & 0x3FU);
    i += length;
    if (character == ' ') continue;
    // A supplementary character is two units, and the lead's low byte is bits 10 to 17 of what is past
    // U+10000.
    if (character >= 0x10000) low += static_cast<char>((character - 0x10000) >> 10);
    low += static_cast<char>(character);
  }
  return low;
}

inline std::vector<std::uint8_t> hexByStrtol(std::string_view text) {
  const std::string low = lowBytesOfUnits(text);
  std::vector<std::uint8_t> bytes;
  for (std::size_t i = 0; i + 1 < low.size(); i += 2) {
    const char pair[3] = {low[i], low[i + 1], '\0'};
    bytes.push_back(static_cast<std::uint8_t>(std::strtol(pair, nullptr, 16)));
  }
  return bytes;
}

}  // namespace vantrel::tests
