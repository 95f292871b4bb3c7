#include "vantrel/codec/KWTools.h"
#include "vantrel/data/TextEncoding.h"

namespace vantrel {
namespace {

template <typename Strings>
std::string joined(const Strings& strings) {
  std::size_t length = 0;
  for (const TextArgument piece : strings) length += (*piece).size();
  std::string whole;
  whole.reserve(length);
  for (const TextArgument piece : strings) whole += *piece;
  return whole;
}

}  // namespace

std::optional<std::string> KWTools::string_Encode(const std::optional<Bytes>& data, std::uint64_t Encode) {
  if (!data) return std::nullopt;
  return text::decode(*data, Encode);
}

std::string KWTools::string(const std::optional<std::span<const std::string>>& list) {
  return list ? joined(*list) : std::string();
}

std::string KWTools::string(std::initializer_list<TextArgument> list) { return joined(list); }

std::optional<std::string> KWTools::stringUnicode(const std::optional<Bytes>& data) {
  return string_Encode(data, text::kUtf16LittleEndian);
}

std::optional<std::string> KWTools::stringANSI(const std::optional<Bytes>& data) {
  return string_Encode(data, text::kUtf8);
}

std::optional<std::string> KWTools::stringGBK(const std::optional<Bytes>& data) {
  return string_Encode(data, text::kGb18030);
}

}  // namespace vantrel
