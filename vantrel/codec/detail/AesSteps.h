#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

/// The steps of AES-128 (FIPS 197) on one block, in ordinary C++.
namespace vantrel::codec::detail {

inline constexpr std::size_t kAesBlock = 16;
inline constexpr int kAesRounds = 10;
inline constexpr int kAesKeyWords = 4;
inline constexpr std::size_t kAesSchedule = kAesBlock * (kAesRounds + 1);

/// Four rows of four columns; byte r + 4c of a block is at [r][c].
using AesState = std::uint8_t[4][4];

extern const std::array<std::uint8_t, 256> kSbox;
extern const std::array<std::uint8_t, 256> kInverseSbox;

/// The first `kAesBlock` bytes of the schedule are the key.
void expandKey(const std::uint8_t* key, std::uint8_t* schedule);

void loadState(AesState& state, const std::uint8_t* block);
void storeState(const AesState& state, std::uint8_t* block);

void addRoundKey(AesState& state, const std::uint8_t* roundKey);
void subBytes(AesState& state);
void inverseSubBytes(AesState& state);
void shiftRows(AesState& state);
void inverseShiftRows(AesState& state);
void mixColumns(AesState& state);
void inverseMixColumns(AesState& state);

/// All rounds.
void cipher(AesState& state, const std::uint8_t* schedule);
void inverseCipher(AesState& state, const std::uint8_t* schedule);

}  // namespace vantrel::codec::detail
