#include "vantrel/net/KWHttp.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>

#include "vantrel/base/NumberText.h"
#include "vantrel/base/Utf8.h"

namespace vantrel {
namespace {

constexpr auto kStays = [] {
  std::array<bool, 256> stays{};
  for (unsigned char c : std::string_view(
           "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!$&'()*+,-./:;=?@_~")) {
    stays[c] = true;
  }
  return stays;
}();

std::optional<char> byteOf(std::string_view digits) {
  const auto byte = text::parseNumber<std::uint8_t>(digits, 16);
  if (digits.size() != 2 || !byte) return std::nullopt;
  return static_cast<char>(*byte);
}

}  // namespace

std::string KWHttp::encodeURL(TextArgument plain) {
  const std::string_view text = *plain;
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string encoded;
  encoded.reserve(text.size());
  for (char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if (kStays[byte]) {
      encoded += c;
    } else {
      encoded += {'%', kDigits[byte >> 4], kDigits[byte & 15]};
    }
  }
  return encoded;
}

std::optional<std::string> KWHttp::decodeURL(TextArgument encoded) {
  std::string_view text = *encoded;
  std::string decoded;
  decoded.reserve(text.size());
  while (!text.empty()) {
    const std::size_t plain = std::min(text.find('%'), text.size());
    decoded += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) break;
    const auto byte = byteOf(text.substr(1, 2));
    if (!byte) return std::nullopt;
    decoded += *byte;
    text.remove_prefix(3);
  }
  return text::isValidUtf8(decoded) ? std::optional(std::move(decoded)) : std::nullopt;
}

}  // namespace vantrel
