#include "vantrel/codec/AESx.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "tests/codec/HexOracle.h"
#include "tests/codec/checksums/AesBlocks.h"
#include "tests/support/EachTarget.h"
#include "tests/support/RandomBytes.h"

namespace vantrel::tests {
namespace {

AESx& aes() { return AESx::shared(); }

AesBlock asBlock(std::span<const std::uint8_t> bytes) {
  AesBlock result{};
  std::ranges::copy(bytes.first(16), result.begin());
  return result;
}

AesBlock block(std::string_view hex) { return asBlock(hexByStrtol(hex)); }

// FIPS 197, C.1.
const AesBlock kKey = block("000102030405060708090A0B0C0D0E0F");
const AesBlock kPlain = block("00112233445566778899AABBCCDDEEFF");
const AesBlock kCipher = block("69C4E0D86A7B0430D8CDB78070B4C55A");

/// The bytes of the whole blocks, which an encryption tells and a decryption leaves to the caller.
std::uint32_t manyBlocks(Way way, const std::uint8_t* from, std::uint8_t* to, std::uint32_t length) {
  if (way == Way::Encrypt) return aes().Dcs_EnCodeSrc_Des_Lenghts_Key(from, to, length, kKey.data());
  aes().Dcs_DeCodeSrc_Des_Lengths_Key(from, to, length, kKey.data());
  return length / 16 * 16;
}

// What was encrypted is the next text, and changes the key. The last text is that of openssl.
TEST(AESx, TreatsAChainOfTextsAndKeysAsOpensslDoes) {
  onEachTarget([] {
    AesBlock key = kKey, text = kPlain, cipher{}, back{};
    for (int i = 0; i < 1000; ++i) {
      aes().Dcs_SetKey(key.data());
      treatBlock(Way::Encrypt, text.data(), cipher.data());
      treatBlock(Way::Decrypt, cipher.data(), back.data());
      ASSERT_EQ(back, text) << i;
      for (std::size_t at = 0; at < 16; ++at) key[at] ^= cipher[at];
      text = cipher;
    }
    EXPECT_EQ(text, block("0798dc32952faaeaf04787136e0aec14"));
  });
}

TEST(AESx, TreatsBuffersOfAnyLengthAsTheirBlocks) {
  onEachTarget([] {
    for (std::uint32_t length = 0; length <= 1200; length += length < 100 ? 1 : 13) {
      for (const Way way : {Way::Encrypt, Way::Decrypt}) {
        // An encryption reads to the end of the last block, a decryption leaves what is no whole one.
        const std::uint32_t whole = (way == Way::Encrypt ? length + 15 : length) / 16 * 16;
        const auto source = randomBytes(whole, length);
        std::vector<std::uint8_t> out(whole + 16, 0xEE);
        ASSERT_EQ(manyBlocks(way, source.data(), out.data(), length), whole);
        auto expected = blockByBlock(way, kKey, source);
        expected.resize(whole + 16, 0xEE);
        ASSERT_EQ(out, expected) << length;
      }
    }
  });
}

TEST(AESx, SetsTheKeyEvenWhereThereIsNothingToDo) {
  for (const Way way : {Way::Encrypt, Way::Decrypt}) {
    aes().Dcs_SetKey(kPlain.data());
    EXPECT_EQ(manyBlocks(way, nullptr, nullptr, way == Way::Encrypt ? 0 : 15), 0U);
    EXPECT_EQ(std::to_array(AESx::Key), kKey);
  }
  AesBlock out{};
  aes().Dcs_AESEnCodeIn_Out(kPlain.data(), out.data());
  EXPECT_EQ(out, kCipher);
}

AesBlock stateBytes() {
  AesBlock bytes{};
  for (std::size_t i = 0; i < 16; ++i) bytes[i] = AESx::state[i % 4][i / 4];
  return bytes;
}

struct Memory {
  std::vector<std::uint8_t> buffer;
  AesBlock in, out, state;
  std::array<std::uint8_t, 176> roundKeys;
  bool operator==(const Memory&) const = default;
};

// What the operations left, which is then wiped out.
Memory takeMemory(std::vector<std::uint8_t> buffer) {
  Memory memory{std::move(buffer), std::to_array(AESx::In), std::to_array(AESx::Out), stateBytes(),
                std::to_array(AESx::RoundKey)};
  EXPECT_EQ(memory.state, memory.out);
  std::memset(AESx::In, 0, sizeof AESx::In);
  std::memset(AESx::Out, 0, sizeof AESx::Out);
  std::memset(AESx::state, 1, sizeof AESx::state);
  std::memset(AESx::RoundKey, 0, sizeof AESx::RoundKey);
  return memory;
}

TEST(AESx, LeavesWhatBlockByBlockLeavesForEveryOverlap) {
  constexpr std::uint32_t kLength = 640, kMiddle = 700;
  aes().Dcs_SetKey(kKey.data());
  aes().KeyExpansion();
  const auto roundKeys = std::to_array(AESx::RoundKey);
  onEachTarget([&] {
    for (const Way way : {Way::Encrypt, Way::Decrypt}) {
      for (const int distance : {0, -1, -16, -100, -640, -700, 1, 15, 16, 17, 64, 100, 511, 639, 640, 700}) {
        auto bulk = randomBytes(2100), single = bulk;
        std::uint8_t* from = single.data() + kMiddle;
        for (std::size_t at = 0; at < kLength; at += 16) treatBlock(way, from + at, from + at + distance);
        const Memory expected = takeMemory(single);
        EXPECT_EQ(expected.roundKeys, roundKeys);
        manyBlocks(way, bulk.data() + kMiddle, bulk.data() + kMiddle + distance, kLength);
        EXPECT_EQ(takeMemory(bulk), expected) << distance;
      }
    }
  });
}

TEST(AESx, WorksStepByStepOnItsArrays) {
  // FIPS 197, appendix B: the states of round 1 and round keys, in column order.
  const AesBlock plain = block("3243f6a8885a308d313198a2e0370734");
  const AesBlock cipher = block("3925841d02dc09fbdc118597196a0b32");
  const AesBlock lastKey = block("d014f9a8c9ee2589e13f0cc8b6630ca6");
  aes().Dcs_SetKey(block("2b7e151628aed2a6abf7158809cf4f3c").data());
  aes().KeyExpansion();
  EXPECT_EQ(asBlock(std::span(AESx::RoundKey).subspan(16)), block("a0fafe1788542cb123a339392a6c7605"));
  EXPECT_EQ(asBlock(std::span(AESx::RoundKey).subspan(16 * std::size_t{AESx::Nr})), lastKey);

  using Step = void (*)();
  const std::pair<Step, const char*> steps[] = {
      {[] { aes().AddRoundKey(0); }, "193de3bea0f4e22b9ac68d2ae9f84808"},
      {[] { aes().SubBytes(); }, "d42711aee0bf98f1b8b45de51e415230"},
      {[] { aes().ShiftRows(); }, "d4bf5d30e0b452aeb84111f11e2798e5"},
      {[] { aes().MixColumns(); }, "046681e5e0cb199a48f8d37a2806264c"},
      {[] { aes().AddRoundKey(1); }, "a49c7ff2689f352b6b5bea43026a5049"},
      {[] { aes().AddRoundKey(11); }, "a49c7ff2689f352b6b5bea43026a5049"},
      {[] { aes().AddRoundKey(-1); }, "a49c7ff2689f352b6b5bea43026a5049"},
      {[] { aes().AddRoundKey(1); }, "046681e5e0cb199a48f8d37a2806264c"},
      {[] { aes().InvMixColumns(); }, "d4bf5d30e0b452aeb84111f11e2798e5"},
      {[] { aes().InvShiftRows(); }, "d42711aee0bf98f1b8b45de51e415230"},
      {[] { aes().InvSubBytes(); }, "193de3bea0f4e22b9ac68d2ae9f84808"},
      {[] { aes().AddRoundKey(0); }, "3243f6a8885a308d313198a2e0370734"},
  };
  for (std::size_t i = 0; i < 16; ++i) AESx::state[i % 4][i / 4] = plain[i];
  for (const auto& [step, state] : steps) {
    step();
    EXPECT_EQ(stateBytes(), block(state)) << state;
  }
  std::memset(AESx::state, 0, sizeof AESx::state);
  aes().AddRoundKey(10);
  EXPECT_EQ(stateBytes(), lastKey);

  std::ranges::copy(plain, AESx::In);
  aes().Cipher();
  EXPECT_EQ(std::to_array(AESx::Out), cipher);
  EXPECT_EQ(stateBytes(), cipher);
  std::ranges::copy(cipher, AESx::In);
  aes().InvCipher();
  EXPECT_EQ(std::to_array(AESx::Out), plain);
}

TEST(AESx, AnswersFromTheSBoxAndItsInverse) {
  // FIPS 197, figure 7.
  const auto box = hexByStrtol(
      "637c777bf26b6fc53001672bfed7ab76ca82c97dfa5947f0add4a2af9ca472c0b7fd9326363ff7cc34a5e5f171d83115"
      "04c723c31896059a071280e2eb27b27509832c1a1b6e5aa0523bd6b329e32f8453d100ed20fcb15b6acbbe394a4c58cf"
      "d0efaafb434d338545f9027f503c9fa851a3408f929d38f5bcb6da2110fff3d2cd0c13ec5f974417c4a77e3d645d1973"
      "60814fdc222a908846eeb814de5e0bdbe0323a0a4906245cc2d3ac629195e479e7c8376d8dd54ea96c56f4ea657aae08"
      "ba78252e1ca6b4c6e8dd741f4bbd8b8a703eb5664803f60e613557b986c11d9ee1f8981169d98e949b1e87e9ce5528df"
      "8ca1890dbfe6426841992d0fb054bb16");
  for (int value = 0; value < 256; ++value) {
    const int expected = box[static_cast<std::size_t>(value)];
    EXPECT_EQ(aes().getSBoxValue(value), expected);
    EXPECT_EQ(aes().getSBoxInvert(expected), value);
  }
  for (const int outside : {-1, 256, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(aes().getSBoxValue(outside), -1);
    EXPECT_EQ(aes().getSBoxInvert(outside), -1);
  }
}

}  // namespace
}  // namespace vantrel::tests
