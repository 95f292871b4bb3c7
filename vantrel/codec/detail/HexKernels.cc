#include "vantrel/codec/detail/HexKernels.h"

#include <array>
#include <bit>
#include <cstring>

#include "vantrel/platform/simd/HighwayTargets.h"
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vantrel/codec/detail/HexKernels.cc"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

HWY_BEFORE_NAMESPACE();
namespace vantrel::codec::detail::HWY_NAMESPACE {
#if VANTREL_SIMD_TARGET
namespace hn = hwy::HWY_NAMESPACE;

// Each byte widens to two: its high and its low nibble in the order of reading, which then pick their digits
// from a table of 16. Bound by the stores, and by memory past the caches.
template <class D16>
std::size_t encodeVectors(D16 d16, const std::uint8_t* bytes, std::size_t from, std::size_t count,
                          char* text) {
  const hn::RepartitionToNarrow<D16> d8;
  const hn::Rebind<std::uint8_t, D16> dBytes;
  alignas(16) static constexpr std::uint8_t kDigits[16] = {'0', '1', '2', '3', '4', '5', '6', '7',
                                                           '8', '9', 'a', 'b', 'c', 'd', 'e', 'f'};
  const auto digits = hn::LoadDup128(d8, kDigits);
  const auto nibbleMask = hn::Set(d16, 0x0F0F);
  const std::size_t step = hn::Lanes(d16);
  for (; count - from >= step; from += step) {
    const auto wide = hn::PromoteTo(d16, hn::LoadU(dBytes, bytes + from));
    const auto nibbles = hn::And(hn::Or(hn::ShiftRight<4>(wide), hn::ShiftLeft<8>(wide)), nibbleMask);
    const auto chars = hn::TableLookupBytes(digits, hn::BitCast(d8, nibbles));
    hn::StoreU(chars, d8, reinterpret_cast<std::uint8_t*>(text) + 2 * from);
  }
  return from;
}

void encodeHexVector(const std::uint8_t* bytes, std::size_t count, char* text) {
  std::size_t done = encodeVectors(hn::ScalableTag<std::uint16_t>(), bytes, 0, count, text);
  done = encodeVectors(hn::CappedTag<std::uint16_t, 8>(), bytes, done, count, text);
  encodeHexPlain(bytes + done, count - done, text + 2 * done);
}

// Digit values, and in `valid` whether every character was a digit. Setting bit 5 folds the upper case onto
// the lower; the digits are told apart before, so that no control character is taken for one.
template <class D8, class V = hn::Vec<D8>>
V digitValues(D8 d8, V chars, hn::Mask<D8>& valid) {
  const auto decimal = hn::Sub(chars, hn::Set(d8, '0'));
  const auto letter = hn::Sub(hn::Or(chars, hn::Set(d8, 0x20)), hn::Set(d8, 'a'));
  const auto isDecimal = hn::Eq(decimal, hn::Min(decimal, hn::Set(d8, 9)));
  const auto isLetter = hn::Eq(letter, hn::Min(letter, hn::Set(d8, 5)));
  valid = hn::And(valid, hn::Or(isDecimal, isLetter));
  return hn::IfThenElse(isDecimal, decimal, hn::Add(letter, hn::Set(d8, 10)));
}

// Two vectors of characters make one of bytes: in each pair of lanes the first nibble moves up beside the
// second, and the even lanes are kept.
template <class D8>
std::size_t decodeVectors(D8 d8, const char* text, std::size_t from, std::size_t pairs, std::uint8_t* bytes) {
  const hn::RepartitionToWide<D8> d16;
  const std::size_t step = hn::Lanes(d8);
  const auto join = [&](auto values) HWY_ATTR {
    const auto wide = hn::BitCast(d16, values);
    return hn::BitCast(d8, hn::Or(hn::ShiftLeft<4>(wide), hn::ShiftRight<8>(wide)));
  };
  for (; pairs - from >= step; from += step) {
    const auto* chars = reinterpret_cast<const std::uint8_t*>(text) + 2 * from;
    auto valid = hn::Eq(hn::Zero(d8), hn::Zero(d8));
    const auto first = digitValues(d8, hn::LoadU(d8, chars), valid);
    const auto second = digitValues(d8, hn::LoadU(d8, chars + step), valid);
    if (!hn::AllTrue(d8, valid)) break;
    hn::StoreU(hn::ConcatEven(d8, join(second), join(first)), d8, bytes + from);
  }
  return from;
}

std::size_t decodeHexVector(const char* text, std::size_t pairs, std::uint8_t* bytes) {
  std::size_t done = decodeVectors(hn::ScalableTag<std::uint8_t>(), text, 0, pairs, bytes);
  done = decodeVectors(hn::CappedTag<std::uint8_t, 16>(), text, done, pairs, bytes);
  return done + decodeHexPlain(text + 2 * done, pairs - done, bytes + done);
}

// For each set of kept lanes of eight, the lanes to gather.
inline constexpr auto kGather = [] {
  std::array<std::array<std::uint8_t, 8>, 256> gather{};
  for (std::size_t kept = 0; kept < 256; ++kept) {
    std::size_t place = 0;
    for (std::uint8_t lane = 0; lane < 8; ++lane) {
      if (kept >> lane & 1) gather[kept][place++] = lane;
    }
  }
  return gather;
}();

std::size_t removeSpacesVector(const char* text, std::size_t length, char* result) {
  const hn::CappedTag<std::uint8_t, 8> d8;
  const auto spaces = hn::Set(d8, ' ');
  std::size_t kept = 0;
  std::size_t i = 0;
  for (; length - i >= 8; i += 8) {
    const auto chars = hn::LoadU(d8, reinterpret_cast<const std::uint8_t*>(text) + i);
    std::uint8_t bits[8];  // Highway may write a whole word
    hn::StoreMaskBits(d8, hn::Ne(chars, spaces), bits);
    const auto gathered = hn::TableLookupBytes(chars, hn::LoadU(d8, kGather[bits[0]].data()));
    hn::StoreU(gathered, d8, reinterpret_cast<std::uint8_t*>(result) + kept);
    kept += static_cast<std::size_t>(std::popcount(bits[0]));
  }
  return kept + removeSpacesPlain(text + i, length - i, result + kept);
}

#endif
}  // namespace vantrel::codec::detail::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vantrel::codec::detail {

void encodeHex(const std::uint8_t* bytes, std::size_t count, char* text) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(encodeHexVector, encodeHexPlain);
  kVariants.chosen()(bytes, count, text);
}

std::size_t decodeHex(const char* text, std::size_t pairs, std::uint8_t* bytes) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(decodeHexVector, decodeHexPlain);
  return kVariants.chosen()(text, pairs, bytes);
}

std::size_t removeSpaces(const char* text, std::size_t length, char* result) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(removeSpacesVector, removeSpacesPlain);
  return kVariants.chosen()(text, length, result);
}

}  // namespace vantrel::codec::detail
#endif
