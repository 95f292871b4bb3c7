#pragma once

#include <cstddef>
#include <cstdint>

/// The loops under hexadecimal text. Each exists as a plain function and, chosen by simd/Target.h, in
/// vectors; both give the same results. Input and output must not overlap.
namespace vantrel::codec::detail {

/// Writes two lowercase digits for each byte.
void encodeHex(const std::uint8_t* bytes, std::size_t count, char* text);
void encodeHexPlain(const std::uint8_t* bytes, std::size_t count, char* text);

/// Reads up to `pairs` pairs of hexadecimal digits of either case, and stops at the first pair that is
/// anything else. Returns how many bytes it wrote; what stands in `bytes` behind them, up to `pairs`, is
/// undefined.
std::size_t decodeHex(const char* text, std::size_t pairs, std::uint8_t* bytes);
std::size_t decodeHexPlain(const char* text, std::size_t pairs, std::uint8_t* bytes);

/// Copies everything but spaces (U+0020) and returns how much that is; `result` has room for `length`
/// characters.
std::size_t removeSpaces(const char* text, std::size_t length, char* result);
std::size_t removeSpacesPlain(const char* text, std::size_t length, char* result);

}  // namespace vantrel::codec::detail
