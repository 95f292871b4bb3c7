#include "vantrel/codec/detail/AesSteps.h"

#include <algorithm>
#include <bit>

namespace vantrel::codec::detail {
namespace {

// Multiplication by x in GF(2^8) modulo x^8 + x^4 + x^3 + x + 1.
constexpr std::uint8_t doubled(std::uint8_t value) {
  return static_cast<std::uint8_t>(value << 1 ^ (value >> 7) * 0x1B);
}

constexpr std::uint8_t product(std::uint8_t a, std::uint8_t b) {
  std::uint8_t sum = 0;
  for (; b != 0; b >>= 1, a = doubled(a))
    if (b & 1) sum ^= a;
  return sum;
}

// The S-box: the inverse in the field, then an affine map of its bits. x + 1 generates every element but 0,
// so its powers and those of its inverse, 0xF6, run through all pairs of inverses.
constexpr auto kBox = [] {
  constexpr auto affine = [](std::uint8_t b) -> std::uint8_t {
    return b ^ std::rotl(b, 1) ^ std::rotl(b, 2) ^ std::rotl(b, 3) ^ std::rotl(b, 4) ^ 0x63;
  };
  std::array<std::uint8_t, 256> box{affine(0)};
  std::uint8_t power = 1;
  std::uint8_t inverse = 1;
  do {
    box[power] = affine(inverse);
    power = product(power, 0x03);
    inverse = product(inverse, 0xF6);
  } while (power != 1);
  return box;
}();

// Powers of x; the first stands for x^-1 and, like all past the tenth, is there for completeness only.
constexpr auto Rcon = [] {
  std::array<std::uint8_t, 255> constants{0x8D};
  for (std::size_t i = 1; i < constants.size(); ++i) constants[i] = doubled(constants[i - 1]);
  return constants;
}();

}  // namespace

constinit const std::array<std::uint8_t, 256> kSbox = kBox;

constinit const std::array<std::uint8_t, 256> kInverseSbox = [] {
  std::array<std::uint8_t, 256> box{};
  for (unsigned i = 0; i < 256; ++i) box[kBox[i]] = static_cast<std::uint8_t>(i);
  return box;
}();

void expandKey(const std::uint8_t* key, std::uint8_t* schedule) {
  constexpr std::size_t kWord = 4;
  std::copy_n(key, kAesBlock, schedule);
  for (std::size_t at = kAesBlock; at < kAesSchedule; at += kWord) {
    std::array<std::uint8_t, kWord> word;
    std::copy_n(schedule + at - kWord, kWord, word.begin());
    if (at % kAesBlock == 0) {
      std::rotate(word.begin(), word.begin() + 1, word.end());
      for (std::uint8_t& byte : word) byte = kSbox[byte];
      word[0] ^= Rcon[at / kAesBlock];
    }
    for (std::size_t i = 0; i < kWord; ++i) schedule[at + i] = schedule[at + i - kAesBlock] ^ word[i];
  }
}

void loadState(AesState& state, const std::uint8_t* block) {
  for (std::size_t i = 0; i < kAesBlock; ++i) state[i % 4][i / 4] = block[i];
}

void storeState(const AesState& state, std::uint8_t* block) {
  for (std::size_t i = 0; i < kAesBlock; ++i) block[i] = state[i % 4][i / 4];
}

void addRoundKey(AesState& state, const std::uint8_t* roundKey) {
  for (std::size_t i = 0; i < kAesBlock; ++i) state[i % 4][i / 4] ^= roundKey[i];
}

void subBytes(AesState& state) {
  for (auto& row : state)
    for (std::uint8_t& byte : row) byte = kSbox[byte];
}

void inverseSubBytes(AesState& state) {
  for (auto& row : state)
    for (std::uint8_t& byte : row) byte = kInverseSbox[byte];
}

void shiftRows(AesState& state) {
  for (int r = 1; r < 4; ++r) std::rotate(state[r], state[r] + r, state[r] + 4);
}

void inverseShiftRows(AesState& state) {
  for (int r = 1; r < 4; ++r) std::rotate(state[r], state[r] + 4 - r, state[r] + 4);
}

void mixColumns(AesState& state) {
  for (int c = 0; c < 4; ++c) {
    const std::uint8_t a[] = {state[0][c], state[1][c], state[2][c], state[3][c]};
    const std::uint8_t sum = a[0] ^ a[1] ^ a[2] ^ a[3];
    // 2a + 3b + c + d  is  (a + b + c + d) + a + 2(a + b)
    for (int r = 0; r < 4; ++r) state[r][c] = sum ^ a[r] ^ doubled(a[r] ^ a[(r + 1) % 4]);
  }
}

void inverseMixColumns(AesState& state) {
  // The inverse matrix is the matrix itself times one that adds 4(a + c) to the first and third of a column
  // and 4(b + d) to the others.
  for (int c = 0; c < 4; ++c) {
    const std::uint8_t even = doubled(doubled(state[0][c] ^ state[2][c]));
    const std::uint8_t odd = doubled(doubled(state[1][c] ^ state[3][c]));
    for (int r = 0; r < 4; ++r) state[r][c] ^= r % 2 == 0 ? even : odd;
  }
  mixColumns(state);
}

void cipher(AesState& state, const std::uint8_t* schedule) {
  addRoundKey(state, schedule);
  for (int round = 1; round < kAesRounds; ++round) {
    subBytes(state);
    shiftRows(state);
    mixColumns(state);
    addRoundKey(state, schedule + kAesBlock * round);
  }
  subBytes(state);
  shiftRows(state);
  addRoundKey(state, schedule + kAesBlock * kAesRounds);
}

void inverseCipher(AesState& state, const std::uint8_t* schedule) {
  addRoundKey(state, schedule + kAesBlock * kAesRounds);
  for (int round = kAesRounds - 1; round > 0; --round) {
    inverseShiftRows(state);
    inverseSubBytes(state);
    addRoundKey(state, schedule + kAesBlock * round);
    inverseMixColumns(state);
  }
  inverseShiftRows(state);
  inverseSubBytes(state);
  addRoundKey(state, schedule);
}

}  // namespace vantrel::codec::detail
