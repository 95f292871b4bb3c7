#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <vector>

#include "vantrel/codec/KWTools.h"
#include "vantrel/codec/detail/HexText.h"

namespace vantrel {
namespace {

// No process can have more; asking the allocator for absurd sizes would only make it complain.
constexpr std::uint64_t kMostBytes = std::uint64_t{1} << 40;

template <typename Integer>
Bytes littleEndian(Integer value) {
  std::array<std::uint8_t, sizeof value> bytes;
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(value >> 8 * i);
  return Bytes::copyOf(bytes);
}

Bytes orAbsentIsEmpty(const std::optional<Bytes>& data) { return data.value_or(Bytes()); }

bool isWhite(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isDecimal(char c) { return c >= '0' && c <= '9'; }

std::int32_t leadingDecimal(std::string_view text) {
  auto at = std::ranges::find_if_not(text, isWhite);
  const bool negative = at != text.end() && *at == '-';
  if (at != text.end() && (*at == '-' || *at == '+')) ++at;
  std::int64_t value = 0;
  constexpr std::int64_t kMost = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
  for (; at != text.end() && isDecimal(*at); ++at) value = std::min(value * 10 + (*at - '0'), kMost);
  return static_cast<std::int32_t>(negative ? -value : std::min(value, kMost - 1));
}

}  // namespace

Bytes KWTools::HexToData(TextArgument text) { return codec::detail::bytesOfHex(*text); }

std::string KWTools::dataToHex(const std::optional<Bytes>& data) {
  return data ? codec::detail::hexOf(data->span()) : std::string();
}

std::string KWTools::dataChangeToString(const std::optional<Bytes>& data) { return dataToHex(data); }

std::optional<Bytes> KWTools::alignment_length(const std::optional<Bytes>& data, std::int64_t length) {
  if (!data || length <= 0) return data;
  const auto unit = static_cast<std::uint64_t>(length);
  const std::uint64_t over = data->size() % unit;
  if (over == 0) return data;
  if (unit > kMostBytes || data->size() > kMostBytes) return std::nullopt;
  try {
    std::vector<std::uint8_t> padded(data->size() + (unit - over));
    std::ranges::copy(*data, padded.begin());
    return Bytes(std::move(padded));
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }
}

Bytes KWTools::uInt32_data(std::uint32_t value) { return littleEndian(value); }

Bytes KWTools::uInt32_data_Endian(std::uint32_t value, bool Endian) {
  return Endian ? changeBigOrSmall(uInt32_data(value)) : uInt32_data(value);
}

Bytes KWTools::uInt16_data(std::uint16_t value) { return littleEndian(value); }

Bytes KWTools::uInt16_data_Endian(std::uint16_t value, bool Endian) {
  return Endian ? changeBigOrSmall(uInt16_data(value)) : uInt16_data(value);
}

Bytes KWTools::uInt8_data(std::uint8_t value) { return littleEndian(value); }

Bytes KWTools::changeBigOrSmall(const std::optional<Bytes>& data) {
  const Bytes bytes = orAbsentIsEmpty(data);
  std::vector<std::uint8_t> reversed(bytes.size());
  std::ranges::reverse_copy(bytes, reversed.begin());
  return Bytes(std::move(reversed));
}

std::int64_t KWTools::dataToInt(const std::optional<Bytes>& data) {
  const Bytes bytes = orAbsentIsEmpty(data);
  const auto first = std::ranges::find_if(bytes, [](std::uint8_t byte) { return byte != 0; });
  const auto significant = static_cast<std::size_t>(bytes.end() - first);
  if (significant > sizeof(std::int64_t)) return std::numeric_limits<std::int64_t>::max();
  // Each digit is rounded into the sum by itself, as a plain conversion of the whole number would not.
  double sum = 0;
  for (std::size_t i = 0; i < significant; ++i) {
    const std::size_t shift = 8 * (significant - 1 - i);
    sum += static_cast<double>(std::uint64_t{first[i]} >> 4 << 4 << shift);
    sum += static_cast<double>((std::uint64_t{first[i]} & 15) << shift);
  }
  constexpr double kTwoTo63 = 9223372036854775808.0;
  return sum >= kTwoTo63 ? std::numeric_limits<std::int64_t>::max() : static_cast<std::int64_t>(sum);
}

std::int32_t KWTools::StringToInt(TextArgument text) {
  const std::string_view digit = *text;
  if (digit.size() == 1) {
    const char lower = static_cast<char>(digit[0] | 0x20);
    if (lower >= 'a' && lower <= 'f') return lower - 'a' + 10;
  }
  return leadingDecimal(digit);
}

std::int32_t KWTools::getNaturalNumber(const std::optional<Bytes>& data) {
  return static_cast<std::int8_t>(static_cast<std::uint8_t>(dataToInt(data)));
}

std::optional<Bytes> KWTools::data_R_L(const std::optional<Bytes>& data, std::int64_t R, std::int64_t L) {
  if (!data) return std::nullopt;
  const auto offset = static_cast<std::uint64_t>(R);
  const auto length = static_cast<std::uint64_t>(L);
  const std::uint64_t size = data->size();
  const bool fits = offset <= size && length <= size - offset;
  if (!fits && size <= offset) return std::nullopt;
  return data->slice(offset, std::min(length, size - offset));
}

}  // namespace vantrel
