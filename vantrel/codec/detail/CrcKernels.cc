#include "vantrel/codec/detail/CrcKernels.h"

#include <type_traits>
#include <utility>

#include "vantrel/base/simd/HighwayTargets.h"
#include "vantrel/codec/detail/CrcFolding.h"
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vantrel/codec/detail/CrcKernels.cc"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

// A message is a polynomial whose remainder is wanted. A block of 16 bytes that has n bits behind it counts
// as its value times x^n, and may be replaced by anything with the same remainder: its two halves, each
// multiplied without carry by the remainder of the power of x that it stands for. So blocks are folded
// forward onto later ones until one is left (V. Gopal et al., "Fast CRC computation for generic polynomials
// using PCLMULQDQ instruction", 2009). Several accumulators hide the latency of the multiplication; what
// bounds long messages is then how many of them the processor starts in a cycle.

HWY_BEFORE_NAMESPACE();
namespace vantrel::codec::detail::HWY_NAMESPACE {
#if VANTREL_SIMD_TARGET
namespace hn = hwy::HWY_NAMESPACE;

// Wider vectors than one block only where the multiplication is as wide.
inline constexpr std::size_t kBlocks = HWY_TARGET == HWY_AVX3_DL ? 4 : 1;
inline constexpr std::size_t kAccumulators = HWY_TARGET == HWY_AVX3_DL ? 4 : 8;
using One = hn::FixedTag<std::uint64_t, 2>;
using Wide = hn::FixedTag<std::uint64_t, 2 * kBlocks>;

template <class D, class V = hn::Vec<D>>
V reverseBlocks(D d, V v) {
  const hn::Repartition<std::uint8_t, D> d8;
  alignas(16) static constexpr std::uint8_t kReverse[kBlock] = {15, 14, 13, 12, 11, 10, 9, 8,
                                                                7,  6,  5,  4,  3,  2,  1, 0};
  return hn::BitCast(d, hn::TableLookupBytes(hn::BitCast(d8, v), hn::LoadDup128(d8, kReverse)));
}

template <class Folding, class D, class V = hn::Vec<D>>
V inOrder(D d, V v) {
  if constexpr (Folding::kReversedBytes) return reverseBlocks(d, v);
  return v;
}

hn::Vec<One> firstLane(std::uint64_t value) {
  const hn::Half<One> half;
  return hn::ZeroExtendVector(One(), hn::Set(half, value));
}

// v, and zeros behind it.
template <class D>
hn::Vec<D> widened(D d, hn::Vec<One> v) {
  if constexpr (std::is_same_v<D, One>) {
    return v;
  } else {
    return hn::ZeroExtendVector(d, widened(hn::Half<D>(), v));
  }
}

template <class Folding, class D>
hn::Vec<D> load(D d, const std::uint8_t* bytes) {
  const hn::Repartition<std::uint8_t, D> d8;
  return inOrder<Folding>(d, hn::BitCast(d, hn::LoadU(d8, bytes)));
}

// v carried forward by so many blocks, and added to what is there.
template <class Folding, std::size_t blocks, class D, class V = hn::Vec<D>>
V forward(D d, V v, V there) {
  if constexpr (blocks == 0) {
    return hn::Xor(v, there);
  } else {
    const V factors = hn::LoadDup128(d, &kForward<Folding>[blocks].lower);
    return hn::Xor3(hn::CLMulLower(v, factors), hn::CLMulUpper(v, factors), there);
  }
}

// All blocks of a vector on its last one.
template <class Folding, class D, class V = hn::Vec<D>>
hn::Vec<One> gather(D d, V v) {
  if constexpr (kBlocks == 1) {
    return v;
  } else {
    const hn::Half<D> half;
    const One one;
    const V factors = hn::Load(d, &kGather<Folding>[0].lower);
    const V moved = hn::Xor(hn::CLMulLower(v, factors), hn::CLMulUpper(v, factors));
    const auto pairs = hn::Xor(hn::LowerHalf(half, moved), hn::UpperHalf(half, moved));
    return hn::Xor3(hn::LowerHalf(one, pairs), hn::UpperHalf(one, pairs),
                    hn::UpperHalf(one, hn::UpperHalf(half, v)));
  }
}

// Several vectors side by side; `indexes` unrolls what a loop would leave in memory.
template <class Folding, std::size_t... indexes>
HWY_INLINE hn::Vec<Wide> foldMany(std::index_sequence<indexes...>, const std::uint8_t*& bytes,
                                  std::size_t& count, hn::Vec<Wide> start) {
  constexpr std::size_t kStep = kBlock * kBlocks;
  constexpr std::size_t kStride = kStep * kAccumulators;
  const Wide d;
  hn::Vec<Wide> sums[] = {load<Folding>(d, bytes + kStep * indexes)...};
  sums[0] = hn::Xor(sums[0], start);
  for (bytes += kStride, count -= kStride; count >= kStride; bytes += kStride, count -= kStride) {
    ((sums[indexes] = forward<Folding, kBlocks * kAccumulators>(d, sums[indexes],
                                                                load<Folding>(d, bytes + kStep * indexes))),
     ...);
  }
  hn::Vec<Wide> sum = hn::Zero(d);
  ((sum = forward<Folding, kBlocks*(kAccumulators - 1 - indexes)>(d, sums[indexes], sum)), ...);
  return sum;
}

// The last 1 to 15 bytes: the block before them and they are together one block and a bit, which is split so
// that the bit comes first.
template <class Folding>
HWY_INLINE hn::Vec<One> foldTail(hn::Vec<One> sum, const std::uint8_t* bytes, std::size_t count) {
  const One d;
  const hn::FixedTag<std::uint8_t, kBlock> d8;
  const auto before = hn::BitCast(d8, inOrder<Folding>(d, sum));
  const auto last = hn::LoadU(d8, bytes + count - kBlock);
  const auto first = hn::TableLookupBytesOr0(before, hn::LoadU(d8, kSlide.data() + count));
  const auto indexes = hn::LoadU(d8, kSlide.data() + kBlock + count);
  const auto rest = hn::Or(hn::TableLookupBytesOr0(before, indexes),
                           hn::IfThenElseZero(hn::Eq(indexes, hn::Set(d8, 0x80)), last));
  return forward<Folding, 1>(d, inOrder<Folding>(d, hn::BitCast(d, first)),
                             inOrder<Folding>(d, hn::BitCast(d, rest)));
}

// `start` holds the register where the first bytes of the message go. At least one block.
template <class Folding>
HWY_INLINE hn::Vec<One> fold(const std::uint8_t* bytes, std::size_t count, hn::Vec<One> start) {
  constexpr std::size_t kStep = kBlock * kBlocks;
  const One one;
  const Wide wide;
  hn::Vec<One> sum;
  if (count >= kStep) {
    hn::Vec<Wide> sums = widened(wide, start);
    if (count >= kStep * kAccumulators) {
      sums = foldMany<Folding>(std::make_index_sequence<kAccumulators>(), bytes, count, sums);
    } else {
      sums = hn::Xor(sums, load<Folding>(wide, bytes));
      bytes += kStep;
      count -= kStep;
    }
    for (; count >= kStep; bytes += kStep, count -= kStep)
      sums = forward<Folding, kBlocks>(wide, sums, load<Folding>(wide, bytes));
    sum = gather<Folding>(wide, sums);
  } else {
    sum = hn::Xor(start, load<Folding>(one, bytes));
    bytes += kBlock;
    count -= kBlock;
  }
  for (; count >= kBlock; bytes += kBlock, count -= kBlock)
    sum = forward<Folding, 1>(one, sum, load<Folding>(one, bytes));
  return count > 0 ? foldTail<Folding>(sum, bytes, count) : sum;
}

// Both ends multiply by the x^16 or x^32 that stands for the register, fold once more down to 64 bits, and
// take the remainder of these by Barrett's reduction: the quotient from a product with the reciprocal.

std::uint16_t crc16Vector(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc) {
  if (count < kBlock) return crc16Plain(bytes, count, crc);
  alignas(16) static constexpr Factors kTo80{0, kCrc16Generator.power(80)};
  alignas(16) static constexpr Factors kTo64{0, kCrc16Generator.power(64)};
  alignas(16) static constexpr Factors kBarrett{kCrc16Generator.reciprocal(), kCrc16Generator.whole()};
  const One d;
  const auto sum =
      fold<Crc16Folding>(bytes, count, hn::ShiftLeftLanes<1>(firstLane(std::uint64_t{crc} << 48)));
  const auto lower = hn::ShiftLeftBytes<2>(hn::OddEven(hn::Zero(d), sum));
  const auto bits80 = hn::Xor(hn::CLMulUpper(sum, hn::Load(d, &kTo80.lower)), lower);
  const auto bits64 = hn::Xor(bits80, hn::CLMulUpper(bits80, hn::Load(d, &kTo64.lower)));
  const auto barrett = hn::Load(d, &kBarrett.lower);
  const auto quotient = hn::CLMulLower(bits64, barrett);  // in the upper lane
  return static_cast<std::uint16_t>(hn::GetLane(hn::Xor(bits64, hn::CLMulUpper(quotient, barrett))));
}

std::uint32_t crc32Vector(const std::uint8_t* bytes, std::size_t count, std::uint32_t crc) {
  if (count < kBlock) return crc32Plain(bytes, count, crc);
  alignas(16) static constexpr Factors kTo96{Crc32Folding::factor(96), 0};
  alignas(16) static constexpr Factors kTo64{Crc32Folding::factor(64), 0};
  alignas(16) static constexpr Factors kBarrett{reversed(kCrc32Generator.reciprocal(), 33),
                                                reversed(kCrc32Generator.whole(), 33)};
  const One d;
  const auto sum = fold<Crc32Folding>(bytes, count, firstLane(crc));
  const auto upper = hn::ShiftRightBytes<4>(d, hn::OddEven(sum, hn::Zero(d)));
  const auto bits96 = hn::Xor(hn::CLMulLower(sum, hn::Load(d, &kTo96.lower)), upper);
  const auto bits64 =
      hn::ShiftRightLanes<1>(d, hn::Xor(bits96, hn::CLMulLower(bits96, hn::Load(d, &kTo64.lower))));
  const auto low32 = hn::Set(d, 0xFFFFFFFF);
  const auto reciprocal = hn::Load(d, &kBarrett.lower);
  const auto quotient = hn::And(hn::CLMulLower(hn::And(bits64, low32), reciprocal), low32);
  const auto multiple = hn::CLMulLower(quotient, hn::ShiftRightLanes<1>(d, reciprocal));
  return static_cast<std::uint32_t>(hn::GetLane(hn::Xor(bits64, multiple)) >> 32);
}

#endif
}  // namespace vantrel::codec::detail::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vantrel::codec::detail {

std::uint16_t crc16(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(crc16Vector, crc16Plain);
  return kVariants.chosen()(bytes, count, crc);
}

std::uint32_t crc32(const std::uint8_t* bytes, std::size_t count, std::uint32_t crc) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(crc32Vector, crc32Plain);
  return kVariants.chosen()(bytes, count, crc);
}

}  // namespace vantrel::codec::detail
#endif
