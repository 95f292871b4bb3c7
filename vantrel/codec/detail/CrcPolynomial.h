#pragma once

#include <cstdint>

/// Arithmetic of polynomials over GF(2), for constants that are worked out by the compiler. Bit i of a number
/// is the coefficient of x^i.
namespace vantrel::codec::detail {

/// A generator polynomial, without its leading coefficient.
template <int degree>
struct Generator {
  static constexpr int kDegree = degree;
  std::uint64_t low;

  constexpr std::uint64_t whole() const { return std::uint64_t{1} << degree | low; }

  /// The remainder of x * value.
  constexpr std::uint64_t timesX(std::uint64_t value) const {
    const bool out = value >> (degree - 1) & 1;
    const std::uint64_t shifted = value << 1 & ((std::uint64_t{1} << degree) - 1);
    return out ? shifted ^ low : shifted;
  }

  /// The remainder of x^n.
  constexpr std::uint64_t power(int n) const {
    std::uint64_t value = 1;
    for (int i = 0; i < n; ++i) value = timesX(value);
    return value;
  }

  /// x^64 divided by the generator, without the remainder: the factor of Barrett's reduction.
  constexpr std::uint64_t reciprocal() const {
    std::uint64_t quotient = 0;
    std::uint64_t remainder = 1;  // of x^n, n counting from 0 to 64
    for (int n = 1; n <= 64; ++n) {
      quotient = quotient << 1 | (remainder >> (degree - 1) & 1);
      remainder = timesX(remainder);
    }
    return quotient;
  }
};

/// The lowest `bits` bits in reverse order, the rest zero.
constexpr std::uint64_t reversed(std::uint64_t value, int bits) {
  std::uint64_t result = 0;
  for (int i = 0; i < bits; ++i) result |= (value >> i & 1) << (bits - 1 - i);
  return result;
}

/// CRC-16/XMODEM, which shifts the most significant bit out first, and CRC-32/ISO-HDLC, which is defined with
/// all bit orders reversed.
inline constexpr Generator<16> kCrc16Generator{0x1021};
inline constexpr Generator<32> kCrc32Generator{0x04C11DB7};

}  // namespace vantrel::codec::detail
