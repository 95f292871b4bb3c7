#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "vantrel/codec/detail/CrcPolynomial.h"

/// What the vectors of CrcKernels.cc are multiplied with and shuffled by.
namespace vantrel::codec::detail {

inline constexpr std::size_t kBlock = 16;

/// Factors of a block's lower and upper 64 bits.
struct alignas(16) Factors {
  std::uint64_t lower, upper;
};

/// CRC-16 reads a block as one big-endian number: the lower half holds the lower powers of x.
struct Crc16Folding {
  static constexpr bool kReversedBytes = true;
  static constexpr Factors factors(int bits) {
    return {kCrc16Generator.power(bits), kCrc16Generator.power(bits + 64)};
  }
};

/// CRC-32 reads it as a little-endian number whose bits run from the highest power down. The product of two
/// such numbers comes out one place too high, which the factors make up for.
struct Crc32Folding {
  static constexpr bool kReversedBytes = false;
  static constexpr std::uint64_t factor(int bits) { return reversed(kCrc32Generator.power(bits - 1), 64); }
  static constexpr Factors factors(int bits) { return {factor(bits + 64), factor(bits)}; }
};

/// The factors that carry a block forward by 1 to 16 blocks.
template <class Folding>
inline constexpr auto kForward = [] {
  std::array<Factors, 17> all{};
  for (std::size_t blocks = 1; blocks < all.size(); ++blocks)
    all[blocks] = Folding::factors(static_cast<int>(8 * kBlock * blocks));
  return all;
}();

/// The factors of the four blocks of a wide vector that carry the first three onto the last.
template <class Folding>
alignas(64) inline constexpr std::array<Factors, 4> kGather{kForward<Folding>[3], kForward<Folding>[2],
                                                            kForward<Folding>[1], Factors {}};

/// Read from 16 + t on: drops the first t bytes of a block. Read from t on: keeps only these, at the end.
inline constexpr auto kSlide = [] {
  std::array<std::uint8_t, 3 * kBlock> indexes{};
  indexes.fill(0x80);
  for (std::uint8_t i = 0; i < kBlock; ++i) indexes[kBlock + i] = i;
  return indexes;
}();

}  // namespace vantrel::codec::detail
