#include "vantrel/codec/detail/HexKernels.h"

#include <array>
#include <bit>
#include <cstring>

#include "vantrel/base/simd/HighwayTargets.h"
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

// Digit values; what is no digit gives 16 or more. Each of the two ranges is first moved to an end of the
// numbers where saturation keeps it apart from its neighbours: the decimals to the top of the signed ones,
// the letters (lower case and, with bit 5 set, upper case too) to the bottom of the unsigned ones.
template <class D8, class V = hn::Vec<D8>>
V digitValues(D8 d8, V chars) {
  const hn::RebindToSigned<D8> dSigned;
  constexpr int kTop = 127;
  const auto top = hn::BitCast(dSigned, hn::Add(chars, hn::Set(d8, kTop - '9')));
  const auto decimal = hn::BitCast(d8, hn::SaturatedSub(top, hn::Set(dSigned, kTop - 9)));
  const auto bottom = hn::Sub(hn::Or(chars, hn::Set(d8, 0x20)), hn::Set(d8, 'a'));
  return hn::Min(decimal, hn::SaturatedAdd(bottom, hn::Set(d8, 10)));
}

// Two vectors of characters make one of bytes. Few operations a byte are what counts: it is these that bound
// the loop.
template <class D8>
std::size_t decodeVectors(D8 d8, const char* text, std::size_t from, std::size_t pairs, std::uint8_t* bytes) {
  const hn::RepartitionToWide<D8> d16;
  const std::size_t step = hn::Lanes(d8);
  for (; pairs - from >= step; from += step) {
    const auto* chars = reinterpret_cast<const std::uint8_t*>(text) + 2 * from;
    const auto front = digitValues(d8, hn::LoadU(d8, chars));
    const auto back = digitValues(d8, hn::LoadU(d8, chars + step));
    if (!hn::AllTrue(d8, hn::Eq(hn::And(hn::Or(front, back), hn::Set(d8, 0xF0)), hn::Zero(d8)))) break;
    // No nibble reaches past its byte, so the shift may take two bytes at a time.
    const auto high = hn::ShiftLeft<4>(hn::BitCast(d16, hn::ConcatEven(d8, back, front)));
    hn::StoreU(hn::Or(hn::BitCast(d8, high), hn::ConcatOdd(d8, back, front)), d8, bytes + from);
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
