#include "vantrel/codec/Hex.h"

#include "vantrel/codec/detail/HexKernels.h"

namespace vantrel::hex {

std::optional<std::size_t> encode(std::span<const std::uint8_t> bytes, std::span<char> text) noexcept {
  if (text.size() / 2 < bytes.size()) return std::nullopt;
  codec::detail::encodeHex(bytes.data(), bytes.size(), text.data());
  return 2 * bytes.size();
}

std::optional<std::size_t> decode(std::string_view text, std::span<std::uint8_t> bytes) noexcept {
  const std::size_t pairs = text.size() / 2;
  if (text.size() % 2 != 0 || bytes.size() < pairs) return std::nullopt;
  if (codec::detail::decodeHex(text.data(), pairs, bytes.data()) != pairs) return std::nullopt;
  return pairs;
}

}  // namespace vantrel::hex
