#include <array>
#include <cstring>

#include "vantrel/codec/detail/HexKernels.h"

namespace vantrel::codec::detail {
namespace {

constexpr char kDigits[] = "0123456789abcdef";
constexpr std::uint8_t kNoDigit = 0xFF;

constexpr auto kTexts = [] {
  std::array<char, 512> texts{};
  for (std::size_t byte = 0; byte < 256; ++byte) {
    texts[2 * byte] = kDigits[byte >> 4];
    texts[2 * byte + 1] = kDigits[byte & 15];
  }
  return texts;
}();

constexpr auto kValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t value = 0; value < 16; ++value) {
    values[static_cast<std::uint8_t>(kDigits[value])] = value;
    if (value >= 10) values[static_cast<std::uint8_t>(kDigits[value] - 'a' + 'A')] = value;
  }
  return values;
}();

}  // namespace

void encodeHexPlain(const std::uint8_t* bytes, std::size_t count, char* text) {
  for (std::size_t i = 0; i < count; ++i) std::memcpy(text + 2 * i, &kTexts[2 * std::size_t{bytes[i]}], 2);
}

std::size_t decodeHexPlain(const char* text, std::size_t pairs, std::uint8_t* bytes) {
  for (std::size_t i = 0; i < pairs; ++i) {
    const std::uint8_t high = kValues[static_cast<std::uint8_t>(text[2 * i])];
    const std::uint8_t low = kValues[static_cast<std::uint8_t>(text[2 * i + 1])];
    if (high == kNoDigit || low == kNoDigit) return i;
    bytes[i] = static_cast<std::uint8_t>(high << 4 | low);
  }
  return pairs;
}

std::size_t removeSpacesPlain(const char* text, std::size_t length, char* result) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] != ' ') result[kept++] = text[i];
  }
  return kept;
}

}  // namespace vantrel::codec::detail
