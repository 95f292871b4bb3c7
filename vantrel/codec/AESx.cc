#include "vantrel/codec/AESx.h"

#include <cstring>

#include "vantrel/codec/Crc.h"
#include "vantrel/codec/detail/AesKernels.h"
#include "vantrel/codec/detail/AesSteps.h"

namespace vantrel {

using namespace codec::detail;

namespace {

constexpr std::uint32_t kStunFingerprint = 0x5354554E;  // "STUN"

}  // namespace

std::uint8_t AESx::Key[kAesBlock];
std::uint8_t AESx::RoundKey[kAesSchedule];
std::uint8_t AESx::state[4][4];
std::uint8_t AESx::In[kAesBlock];
std::uint8_t AESx::Out[kAesBlock];

AESx& AESx::shared() {
  static AESx Me;
  return Me;
}

void AESx::Dcs_SetKey(const std::uint8_t* key) { std::memmove(Key, key, sizeof Key); }

void AESx::oneBlock(Blocks cipher, const std::uint8_t* in, std::uint8_t* out) {
  std::memmove(In, in, kAesBlock);
  cipher(Key, RoundKey, state, In, Out, 1);
  std::memcpy(out, Out, kAesBlock);
}

void AESx::eachBlock(Blocks cipher, const std::uint8_t* src, std::uint8_t* des, std::size_t blocks) {
  if (blocks == 0) return;
  const std::size_t size = blocks * kAesBlock;
  if (overtakes(src, des, size)) {
    for (std::size_t at = 0; at < size; at += kAesBlock) oneBlock(cipher, src + at, des + at);
    return;
  }
  std::memmove(In, src + size - kAesBlock, kAesBlock);  // `des` may be the same place
  cipher(Key, RoundKey, state, src, des, blocks);
  std::memmove(Out, des + size - kAesBlock, kAesBlock);
}

void AESx::Dcs_AESEnCodeIn_Out(const std::uint8_t* in, std::uint8_t* out) { oneBlock(aesEncrypt, in, out); }

void AESx::Dcs_AESDeCodeIn_Out(const std::uint8_t* in, std::uint8_t* out) { oneBlock(aesDecrypt, in, out); }

std::uint32_t AESx::Dcs_EnCodeSrc_Des_Lenghts_Key(const std::uint8_t* src, std::uint8_t* des,
                                                  std::uint32_t length, const std::uint8_t* key) {
  Dcs_SetKey(key);
  const std::uint32_t blocks = length / kAesBlock + (length % kAesBlock != 0 ? 1 : 0);
  eachBlock(aesEncrypt, src, des, blocks);
  return blocks * std::uint32_t{kAesBlock};
}

void AESx::Dcs_DeCodeSrc_Des_Lengths_Key(const std::uint8_t* src, std::uint8_t* des, std::uint32_t length,
                                         const std::uint8_t* key) {
  Dcs_SetKey(key);
  eachBlock(aesDecrypt, src, des, length / kAesBlock);
}

std::uint32_t AESx::ns_crc32Buffer_Lenght(const std::uint8_t* bytes, std::uint32_t length) {
  return crc32({bytes, length}) ^ kStunFingerprint;
}

void AESx::KeyExpansion() { expandKey(Key, RoundKey); }

void AESx::Cipher() {
  loadState(state, In);
  cipher(state, RoundKey);
  storeState(state, Out);
}

void AESx::InvCipher() {
  loadState(state, In);
  inverseCipher(state, RoundKey);
  storeState(state, Out);
}

void AESx::AddRoundKey(int round) {
  if (round >= 0 && round <= kAesRounds) addRoundKey(state, RoundKey + kAesBlock * round);
}

void AESx::SubBytes() { subBytes(state); }
void AESx::InvSubBytes() { inverseSubBytes(state); }
void AESx::ShiftRows() { shiftRows(state); }
void AESx::InvShiftRows() { inverseShiftRows(state); }
void AESx::MixColumns() { mixColumns(state); }
void AESx::InvMixColumns() { inverseMixColumns(state); }

int AESx::getSBoxValue(int index) { return index >= 0 && index < 256 ? kSbox[index] : -1; }
int AESx::getSBoxInvert(int index) { return index >= 0 && index < 256 ? kInverseSbox[index] : -1; }

}  // namespace vantrel
