#include "vantrel/system/detail/SmallSort.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <functional>
#include <limits>

#include "vantrel/base/simd/HighwayTargets.h"
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vantrel/system/detail/SmallSort.cc"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

// Batcher's bitonic network: sorted blocks of half the size become a sorted block by a comparison of each
// element with the one that lies opposite in the block, and then of elements at distances that halve. Which
// are compared depends on the count alone, so nothing waits for a branch; bound by the shuffles.

HWY_BEFORE_NAMESPACE();
namespace vantrel::system::detail::HWY_NAMESPACE {
#if VANTREL_SIMD_TARGET
namespace hn = hwy::HWY_NAMESPACE;

using Tag = hn::ScalableTag<std::int32_t>;
using Vector = hn::Vec<Tag>;
constexpr Tag kTag;
constexpr std::size_t kLanes = hn::MaxLanes(kTag);

using LaneTable = std::array<std::int32_t, kLanes>;

template <class Entry>
constexpr LaneTable laneTable(Entry entry) {
  LaneTable table{};
  for (std::size_t lane = 0; lane < kLanes; ++lane) table[lane] = static_cast<std::int32_t>(entry(lane));
  return table;
}

// Compares each lane with the one whose number differs in the bits `kBits`; the higher lane gets the larger.
template <std::size_t kBits>
HWY_INLINE Vector exchange(Vector v) {
  alignas(64) static constexpr LaneTable kPartners = laneTable([](std::size_t lane) { return lane ^ kBits; });
  alignas(64) static constexpr LaneTable kHigher =
      laneTable([](std::size_t lane) { return (lane ^ kBits) < lane ? -1 : 0; });
  const Vector opposite = hn::TableLookupLanes(v, hn::SetTableIndices(kTag, kPartners.data()));
  const auto higher = hn::MaskFromVec(hn::Load(kTag, kHigher.data()));
  return hn::IfThenElse(higher, hn::Max(v, opposite), hn::Min(v, opposite));
}

template <std::size_t kDistance>
HWY_INLINE Vector mergeLanes(Vector v) {
  if constexpr (kDistance == 0) {
    return v;
  } else {
    return mergeLanes<kDistance / 2>(exchange<kDistance>(v));
  }
}

template <std::size_t kSize>
HWY_INLINE Vector sortLanes(Vector v) {
  if constexpr (kSize < 2) {
    return v;
  } else {
    return mergeLanes<kSize / 4>(exchange<kSize - 1>(sortLanes<kSize / 2>(v)));
  }
}

HWY_INLINE void compareOpposite(std::int32_t* block, std::size_t size) {
  for (std::size_t i = 0; i < size / 2; i += kLanes) {
    std::int32_t* const high = block + size - kLanes - i;
    const Vector a = hn::Load(kTag, block + i);
    const Vector b = hn::Reverse(kTag, hn::Load(kTag, high));
    hn::Store(hn::Min(a, b), kTag, block + i);
    hn::Store(hn::Reverse(kTag, hn::Max(a, b)), kTag, high);
  }
}

HWY_INLINE void compareAtDistance(std::int32_t* numbers, std::size_t size, std::size_t distance) {
  for (std::size_t start = 0; start < size; start += 2 * distance) {
    for (std::size_t i = start; i < start + distance; i += kLanes) {
      const Vector a = hn::Load(kTag, numbers + i);
      const Vector b = hn::Load(kTag, numbers + i + distance);
      hn::Store(hn::Min(a, b), kTag, numbers + i);
      hn::Store(hn::Max(a, b), kTag, numbers + i + distance);
    }
  }
}

void sortSmallVector(std::int32_t* numbers, std::size_t count, bool ascending) {
  alignas(64) std::int32_t buffer[kMostInNetwork];
  const std::size_t size = std::max(std::bit_ceil(count), kLanes);
  // Largest first is smallest first of the complements. What fills up comes last.
  const Vector complement = hn::Set(kTag, ascending ? 0 : -1);
  using Limits = std::numeric_limits<std::int32_t>;
  std::memcpy(buffer, numbers, count * sizeof *numbers);
  std::fill(buffer + count, buffer + size, ascending ? Limits::max() : Limits::min());
  for (std::size_t i = 0; i < size; i += kLanes)
    hn::Store(sortLanes<kLanes>(hn::Xor(hn::Load(kTag, buffer + i), complement)), kTag, buffer + i);
  for (std::size_t block = 2 * kLanes; block <= size; block *= 2) {
    for (std::size_t start = 0; start < size; start += block) compareOpposite(buffer + start, block);
    for (std::size_t distance = block / 4; distance >= kLanes; distance /= 2)
      compareAtDistance(buffer, size, distance);
    for (std::size_t i = 0; i < size; i += kLanes)
      hn::Store(mergeLanes<kLanes / 2>(hn::Load(kTag, buffer + i)), kTag, buffer + i);
  }
  for (std::size_t i = 0; i < size; i += kLanes)
    hn::Store(hn::Xor(hn::Load(kTag, buffer + i), complement), kTag, buffer + i);
  std::memcpy(numbers, buffer, count * sizeof *numbers);
}

#endif
}  // namespace vantrel::system::detail::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vantrel::system::detail {

void sortSmallPlain(std::int32_t* numbers, std::size_t count, bool ascending) {
  ascending ? std::sort(numbers, numbers + count) : std::sort(numbers, numbers + count, std::greater<>());
}

void sortSmall(std::int32_t* numbers, std::size_t count, bool ascending) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(sortSmallVector, sortSmallPlain);
  kVariants.chosen()(numbers, count, ascending);
}

}  // namespace vantrel::system::detail
#endif
