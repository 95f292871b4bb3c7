#include "vantrel/codec/KWHmacMD5.h"

#include <algorithm>
#include <span>
#include <string_view>

#include "vantrel/codec/detail/Md5Context.h"

namespace vantrel {
namespace {

using codec::detail::Md5Context;

// A text is searched for its end piece by piece, so that a long one passes the cache only once.
constexpr std::size_t kPiece = 4096;

std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

void addUpToZeroByte(Md5Context& context, std::string_view text) {
  while (!text.empty()) {
    const std::string_view piece = text.substr(0, kPiece);
    const std::size_t length = std::min(piece.find('\0'), piece.size());
    context.add(bytesOf(piece.substr(0, length)));
    if (length < piece.size()) break;
    text.remove_prefix(length);
  }
}

std::string hexOf(const Md5Digest& digest, const char (&digits)[17]) {
  std::string text(2 * digest.size(), '\0');
  for (std::size_t i = 0; i < digest.size(); ++i) {
    text[2 * i] = digits[digest[i] >> 4];
    text[2 * i + 1] = digits[digest[i] & 15];
  }
  return text;
}

}  // namespace

std::string KWHmacMD5::HmacMD5String(TextArgument text) {
  Md5Context context;
  addUpToZeroByte(context, *text);
  return hexOf(context.digest(), "0123456789ABCDEF");
}

std::string KWHmacMD5::HmacMD5String_Key(TextArgument text, TextArgument Key) {
  const std::string_view key = *Key;
  const auto block = codec::detail::hmacBlock(bytesOf(key.substr(0, key.find('\0'))));
  const auto addText = [&](Md5Context& inner) { addUpToZeroByte(inner, *text); };
  return hexOf(codec::detail::hmacOf(block, addText), "0123456789abcdef");
}

}  // namespace vantrel
