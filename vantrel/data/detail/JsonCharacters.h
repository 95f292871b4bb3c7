#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// How JSON's reader and writer look at many characters at once.
namespace vantrel::json::detail {

/// Eight characters, the first one in the lowest byte.
inline std::uint64_t loadWord(const char* text) noexcept {
  std::uint64_t word;
  std::memcpy(&word, text, sizeof word);
  if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
  return word;
}

constexpr std::uint64_t inEachByte(std::uint8_t byte) noexcept {
  return std::uint64_t{0x0101010101010101} * byte;
}

/// Plain is what stands for itself in a string: no quote, no backslash, no control character, and nothing
/// beyond ASCII, because that has to be checked. Each function gives the count of plain characters before the
/// first other one, up to its width, and reads that whole width.
inline std::size_t plainAmong8(const char* text) noexcept {
  // In each of these a wrong high bit can only stand above a right one, so the lowest is always right.
  const auto belowBy = [](std::uint64_t word, std::uint8_t bound) {
    return (word - inEachByte(bound)) & ~word;
  };
  const std::uint64_t word = loadWord(text);
  const std::uint64_t other =
      belowBy(word ^ inEachByte('"'), 1) | belowBy(word ^ inEachByte('\\'), 1) | belowBy(word, 0x20) | word;
  return static_cast<std::size_t>(std::countr_zero(other & inEachByte(0x80))) / 8;
}

inline std::size_t plainAmong16(const char* text) noexcept {
#if defined(__SSE2__)
  const __m128i characters = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
  const __m128i quotes = _mm_cmpeq_epi8(characters, _mm_set1_epi8('"'));
  const __m128i backslashes = _mm_cmpeq_epi8(characters, _mm_set1_epi8('\\'));
  // The comparison is signed: what lies beyond ASCII is below zero.
  const __m128i beyond = _mm_cmplt_epi8(characters, _mm_set1_epi8(0x20));
  const int other = _mm_movemask_epi8(_mm_or_si128(_mm_or_si128(quotes, backslashes), beyond));
  return static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(other) | 0x10000));
#else
  const std::size_t count = plainAmong8(text);
  return count < 8 ? count : 8 + plainAmong8(text + 8);
#endif
}

/// The count of commas, colons and opening brackets, in strings too.
inline std::size_t countSeparators(std::string_view text) noexcept {
  std::size_t count = 0;
#if defined(__SSE2__)
  // Each lane counts its own down from zero, and is added up before it can wrap around.
  constexpr std::size_t kStride = 255 * sizeof(__m128i);
  while (text.size() >= sizeof(__m128i)) {
    const std::size_t whole = std::min(text.size(), kStride) / sizeof(__m128i) * sizeof(__m128i);
    __m128i lanes = _mm_setzero_si128();
    for (std::size_t i = 0; i < whole; i += sizeof(__m128i)) {
      const __m128i characters = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text.data() + i));
      const __m128i commas = _mm_cmpeq_epi8(characters, _mm_set1_epi8(','));
      const __m128i colons = _mm_cmpeq_epi8(characters, _mm_set1_epi8(':'));
      // The two brackets differ in this bit alone.
      const __m128i brackets =
          _mm_cmpeq_epi8(_mm_or_si128(characters, _mm_set1_epi8('[' ^ '{')), _mm_set1_epi8('{'));
      lanes = _mm_add_epi8(lanes, _mm_or_si128(_mm_or_si128(commas, colons), brackets));
    }
    const __m128i sums = _mm_sad_epu8(_mm_sub_epi8(_mm_setzero_si128(), lanes), _mm_setzero_si128());
    count += static_cast<std::size_t>(_mm_cvtsi128_si32(sums)) +
             static_cast<std::size_t>(_mm_cvtsi128_si32(_mm_srli_si128(sums, 8)));
    text.remove_prefix(whole);
  }
#endif
  for (const char character : text) {
    count += character == ',' || character == ':' || (character | ('[' ^ '{')) == '{' ? 1 : 0;
  }
  return count;
}

}  // namespace vantrel::json::detail
