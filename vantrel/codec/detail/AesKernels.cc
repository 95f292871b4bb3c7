#include "vantrel/codec/detail/AesKernels.h"

#include <array>
#include <utility>

#include "vantrel/base/simd/HighwayTargets.h"
#include "vantrel/codec/detail/AesSteps.h"
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "vantrel/codec/detail/AesKernels.cc"
#include "hwy/foreach_target.h"
#include "hwy/highway.h"

// A round is one instruction of a few cycles' latency, and each waits for the one before: only several
// vectors side by side keep the unit busy. Past that, its throughput is the bound.

HWY_BEFORE_NAMESPACE();
namespace vantrel::codec::detail::HWY_NAMESPACE {
#if VANTREL_SIMD_TARGET
namespace hn = hwy::HWY_NAMESPACE;

// Wider vectors than one block only where the instructions are as wide.
using One = hn::FixedTag<std::uint8_t, kAesBlock>;
using Wide = hn::FixedTag<std::uint8_t, HWY_TARGET == HWY_AVX3_DL ? 4 * kAesBlock : kAesBlock>;
using Block = hn::Vec<One>;
inline constexpr std::size_t kInFlight = 8;
inline constexpr std::size_t kKeys = kAesRounds + 1;

// What Highway has no operations for: the rounds of decryption and what makes round keys. `turnedWord` is the
// last word of a key in all four columns, turned by one byte, substituted, and the constant added.
#if HWY_ARCH_X86
HWY_INLINE Block inverseRound(Block state, Block key) { return Block{_mm_aesdec_si128(state.raw, key.raw)}; }
HWY_INLINE Block inverseLast(Block state, Block key) {
  return Block{_mm_aesdeclast_si128(state.raw, key.raw)};
}
HWY_INLINE Block inverseMix(Block key) { return Block{_mm_aesimc_si128(key.raw)}; }
template <std::uint8_t constant>
HWY_INLINE Block turnedWord(Block key) {
  return Block{_mm_shuffle_epi32(_mm_aeskeygenassist_si128(key.raw, constant), 0xFF)};
}
#if HWY_TARGET == HWY_AVX3_DL
HWY_INLINE hn::Vec<Wide> inverseRound(hn::Vec<Wide> state, hn::Vec<Wide> key) {
  return hn::Vec<Wide>{_mm512_aesdec_epi128(state.raw, key.raw)};
}
HWY_INLINE hn::Vec<Wide> inverseLast(hn::Vec<Wide> state, hn::Vec<Wide> key) {
  return hn::Vec<Wide>{_mm512_aesdeclast_epi128(state.raw, key.raw)};
}
#endif
#else
// ARM's instruction adds its key before the substitution, not at the end.
HWY_INLINE Block inverseLast(Block state, Block key) {
  return hn::Xor(Block(vaesdq_u8(state.raw, vdupq_n_u8(0))), key);
}
HWY_INLINE Block inverseMix(Block key) { return Block(vaesimcq_u8(key.raw)); }
HWY_INLINE Block inverseRound(Block state, Block key) {
  return hn::Xor(inverseMix(inverseLast(state, hn::Zero(One()))), key);
}
// In four equal columns the last round of encryption moves nothing: what is left of it is the substitution
// and the addition.
template <std::uint8_t constant>
HWY_INLINE Block turnedWord(Block key) {
  const One d;
  const hn::Repartition<std::uint32_t, One> d32;
  alignas(16) static constexpr std::uint8_t kTurned[kAesBlock] = {13, 14, 15, 12, 13, 14, 15, 12,
                                                                  13, 14, 15, 12, 13, 14, 15, 12};
  const Block turned = hn::TableLookupBytes(key, hn::Load(d, kTurned));
  return hn::AESLastRound(turned, hn::BitCast(d, hn::Set(d32, constant)));
}
#endif

struct Encryption {
  template <class V>
  static HWY_INLINE V round(V state, V key) {
    return hn::AESRound(state, key);
  }
  template <class V>
  static HWY_INLINE V last(V state, V key) {
    return hn::AESLastRound(state, key);
  }
};

struct Decryption {
  template <class V>
  static HWY_INLINE V round(V state, V key) {
    return inverseRound(state, key);
  }
  template <class V>
  static HWY_INLINE V last(V state, V key) {
    return inverseLast(state, key);
  }
};

// The next round key: each word is the one before it plus the old one in its place; the first has the turned
// word for the one before.
template <std::uint8_t constant>
HWY_INLINE Block nextKey(Block key) {
  const Block pairs = hn::Xor(key, hn::ShiftLeftBytes<4>(key));
  return hn::Xor3(pairs, hn::ShiftLeftBytes<8>(pairs), turnedWord<constant>(key));
}

// The round keys in the order of encryption, also stored in `schedule`.
template <std::size_t... rounds>
HWY_INLINE void expand(std::index_sequence<rounds...>, Block* keys, std::uint8_t* schedule) {
  constexpr std::uint8_t kConstants[] = {0x01, 0x02, 0x04, 0x08, 0x10, 0x20, 0x40, 0x80, 0x1B, 0x36};
  ((keys[rounds + 1] = nextKey<kConstants[rounds]>(keys[rounds])), ...);
  hn::StoreU(keys[0], One(), schedule);
  (hn::StoreU(keys[rounds + 1], One(), schedule + kAesBlock * (rounds + 1)), ...);
}

template <class D>
HWY_INLINE hn::Vec<D> widened(D d, const Block& key) {
  return hn::LoadDup128(d, reinterpret_cast<const std::uint8_t*>(&key));
}

// Several vectors side by side, each with a key that fits its width; `lanes` unrolls what a loop would leave
// in memory.
template <class Direction, class D, std::size_t... lanes>
HWY_INLINE void rounds(D d, std::index_sequence<lanes...>, const Block* keys, const std::uint8_t* from,
                       std::uint8_t* to) {
  using V = hn::Vec<D>;
  const std::size_t step = hn::Lanes(d);
  V key = widened(d, keys[0]);
  V states[] = {hn::Xor(hn::LoadU(d, from + step * lanes), key)...};
  for (int index = 1; index < kAesRounds; ++index) {
    key = widened(d, keys[index]);
    ((states[lanes] = Direction::round(states[lanes], key)), ...);
  }
  key = widened(d, keys[kAesRounds]);
  ((states[lanes] = Direction::last(states[lanes], key)), ...);
  (hn::StoreU(states[lanes], d, to + step * lanes), ...);
}

HWY_INLINE void leaveState(Block block, AesState& state) {
  const One d;
  alignas(16) static constexpr std::uint8_t kRows[kAesBlock] = {0, 4, 8,  12, 1, 5, 9,  13,
                                                                2, 6, 10, 14, 3, 7, 11, 15};
  hn::StoreU(hn::TableLookupBytes(block, hn::Load(d, kRows)), d, state[0]);
}

template <class Direction>
HWY_INLINE void eachBlock(const Block* keys, AesState& state, const std::uint8_t* from, std::uint8_t* to,
                          std::size_t blocks) {
  if (blocks == 0) return;
  constexpr std::size_t kWide = hn::MaxLanes(Wide());
  std::size_t left = blocks * kAesBlock;
  const auto advance = [&](std::size_t bytes) {
    from += bytes;
    to += bytes;
    left -= bytes;
  };
  for (; left >= kWide * kInFlight; advance(kWide * kInFlight))
    rounds<Direction>(Wide(), std::make_index_sequence<kInFlight>(), keys, from, to);
  for (; left >= kWide; advance(kWide))
    rounds<Direction>(Wide(), std::make_index_sequence<1>(), keys, from, to);
  for (; left > 0; advance(kAesBlock))
    rounds<Direction>(One(), std::make_index_sequence<1>(), keys, from, to);
  leaveState(hn::LoadU(One(), to - kAesBlock), state);
}

void aesEncryptVector(const std::uint8_t* key, std::uint8_t* schedule, AesState& state,
                      const std::uint8_t* from, std::uint8_t* to, std::size_t blocks) {
  Block keys[kKeys] = {hn::LoadU(One(), key)};
  expand(std::make_index_sequence<kAesRounds>(), keys, schedule);
  eachBlock<Encryption>(keys, state, from, to, blocks);
}

void aesDecryptVector(const std::uint8_t* key, std::uint8_t* schedule, AesState& state,
                      const std::uint8_t* from, std::uint8_t* to, std::size_t blocks) {
  Block keys[kKeys] = {hn::LoadU(One(), key)};
  expand(std::make_index_sequence<kAesRounds>(), keys, schedule);
  Block turned[kKeys] = {keys[kAesRounds]};
  for (std::size_t i = 1; i < kAesRounds; ++i) turned[i] = inverseMix(keys[kAesRounds - i]);
  turned[kAesRounds] = keys[0];
  eachBlock<Decryption>(turned, state, from, to, blocks);
}

#endif
}  // namespace vantrel::codec::detail::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace vantrel::codec::detail {

void aesEncrypt(const std::uint8_t* key, std::uint8_t* schedule, AesState& state, const std::uint8_t* from,
                std::uint8_t* to, std::size_t blocks) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(aesEncryptVector, aesEncryptPlain);
  kVariants.chosen()(key, schedule, state, from, to, blocks);
}

void aesDecrypt(const std::uint8_t* key, std::uint8_t* schedule, AesState& state, const std::uint8_t* from,
                std::uint8_t* to, std::size_t blocks) {
  static constexpr auto kVariants = VANTREL_SIMD_VARIANTS(aesDecryptVector, aesDecryptPlain);
  kVariants.chosen()(key, schedule, state, from, to, blocks);
}

}  // namespace vantrel::codec::detail
#endif
