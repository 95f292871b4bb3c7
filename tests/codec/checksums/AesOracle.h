#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <span>
#include <vector>

/// AES-128 straight from FIPS 197, slowly: whole blocks, no chaining, no padding.
namespace vantrel::tests {

using AesBlock = std::array<std::uint8_t, 16>;

enum class Way { Encrypt, Decrypt };

/// In the field of the standard's section 4.2.
inline std::uint8_t aesProduct(unsigned a, unsigned b) {
  unsigned sum = 0;
  for (; b != 0; b >>= 1, a = a << 1 ^ (a & 0x80 ? 0x11B : 0))
    if (b & 1) sum ^= a;
  return static_cast<std::uint8_t>(sum);
}

/// Section 5.1.1; the inverses in the field are found by trial.
inline const std::array<std::uint8_t, 256>& aesSBox() {
  static const auto box = [] {
    std::array<std::uint8_t, 256> made{};
    for (unsigned value = 0; value < 256; ++value) {
      std::uint8_t b = 0;
      while (value != 0 && aesProduct(value, b) != 1) ++b;
      made[value] = b ^ std::rotl(b, 1) ^ std::rotl(b, 2) ^ std::rotl(b, 3) ^ std::rotl(b, 4) ^ 0x63;
    }
    return made;
  }();
  return box;
}

inline std::array<AesBlock, 11> aesRoundKeys(const AesBlock& key) {
  std::array<AesBlock, 11> keys{key};
  std::uint8_t constant = 1;
  for (std::size_t round = 1; round <= 10; ++round, constant = aesProduct(constant, 2)) {
    const AesBlock& earlier = keys[round - 1];
    for (std::size_t i = 0; i < 16; ++i) {
      const unsigned word = i < 4 ? aesSBox()[earlier[12 + (i + 1) % 4]] : keys[round][i - 4];
      keys[round][i] = static_cast<std::uint8_t>(earlier[i] ^ word ^ (i == 0 ? constant : 0));
    }
  }
  return keys;
}

inline void addAesKey(AesBlock& state, const AesBlock& key) {
  for (std::size_t i = 0; i < 16; ++i) state[i] ^= key[i];
}

inline void shiftAesRows(AesBlock& state) {
  const AesBlock from = state;
  for (std::size_t i = 0; i < 16; ++i) state[i] = from[(i + 4 * (i % 4)) % 16];
}

inline void mixAesColumns(AesBlock& state) {
  const AesBlock from = state;
  for (std::size_t i = 0; i < 16; ++i) {
    const auto below = [&](std::size_t rows) { return from[i / 4 * 4 + (i + rows) % 4]; };
    const unsigned doubled = aesProduct(from[i], 2) ^ aesProduct(below(1), 3);
    state[i] = static_cast<std::uint8_t>(doubled ^ below(2) ^ below(3));
  }
}

inline void encryptAesBlock(AesBlock& state, const std::array<AesBlock, 11>& keys) {
  for (std::size_t round = 0; round < 10; ++round) {
    addAesKey(state, keys[round]);
    for (auto& byte : state) byte = aesSBox()[byte];
    shiftAesRows(state);
    if (round < 9) mixAesColumns(state);
  }
  addAesKey(state, keys[10]);
}

/// Every step backwards. To shift rows, or to mix columns, four times changes nothing, so three times undo
/// it.
inline void decryptAesBlock(AesBlock& state, const std::array<AesBlock, 11>& keys) {
  const auto thrice = [&](auto step) { step(state), step(state), step(state); };
  addAesKey(state, keys[10]);
  for (std::size_t round = 10; round-- > 0;) {
    if (round < 9) thrice(mixAesColumns);
    thrice(shiftAesRows);
    for (auto& byte : state)
      byte = static_cast<std::uint8_t>(std::ranges::find(aesSBox(), byte) - aesSBox().begin());
    addAesKey(state, keys[round]);
  }
}

inline std::vector<std::uint8_t> aesByDefinition(Way way, const AesBlock& key,
                                                 std::span<const std::uint8_t> blocks) {
  const auto keys = aesRoundKeys(key);
  std::vector<std::uint8_t> result(blocks.begin(), blocks.end());
  AesBlock state{};
  for (auto at = result.begin(); at != result.end(); at += 16) {
    std::copy_n(at, 16, state.begin());
    way == Way::Encrypt ? encryptAesBlock(state, keys) : decryptAesBlock(state, keys);
    std::ranges::copy(state, at);
  }
  return result;
}

}  // namespace vantrel::tests
