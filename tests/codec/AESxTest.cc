#include "vantrel/codec/AESx.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <random>
#include <thread>

#include "tests/codec/AesOracle.h"
#include "tests/codec/EachTarget.h"
#include "vantrel/codec/KWTools.h"

namespace vantrel {
namespace {

using codec::testing::AesBlock;
using codec::testing::aesByOpenssl;
using codec::testing::onEachTarget;
using codec::testing::Way;

AESx& aes() { return AESx::shared(); }

AesBlock block(std::string_view hex) {
  AesBlock result{};
  const Bytes bytes = KWTools::HexToData(hex);
  std::copy(bytes.begin(), bytes.end(), result.begin());
  return result;
}

template <std::size_t size>
AesBlock held(const std::uint8_t (&array)[size]) {
  static_assert(size == 16);
  return std::to_array(array);
}

AesBlock encrypted(const AesBlock& key, const AesBlock& plain) {
  AesBlock out{};
  aes().Dcs_SetKey(key.data());
  aes().Dcs_AESEnCodeIn_Out(plain.data(), out.data());
  return out;
}

AesBlock decrypted(const AesBlock& key, const AesBlock& cipher) {
  AesBlock out{};
  aes().Dcs_SetKey(key.data());
  aes().Dcs_AESDeCodeIn_Out(cipher.data(), out.data());
  return out;
}

std::vector<std::uint8_t> randomBytes(std::size_t size) {
  std::mt19937 random(static_cast<std::uint32_t>(size));
  std::vector<std::uint8_t> bytes(size);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return bytes;
}

const AesBlock kKey = block("000102030405060708090A0B0C0D0E0F");
const AesBlock kPlain = block("00112233445566778899AABBCCDDEEFF");
const AesBlock kCipher = block("69C4E0D86A7B0430D8CDB78070B4C55A");

TEST(AESx, GivesTheExamplesOfItsStandard) {
  const struct {
    AesBlock key, plain, cipher;
  } cases[] = {
      {kKey, kPlain, kCipher},  // FIPS 197, C.1
      {block("2b7e151628aed2a6abf7158809cf4f3c"), block("3243f6a8885a308d313198a2e0370734"),
       block("3925841d02dc09fbdc118597196a0b32")},  // FIPS 197, B
      // The first of each of NIST's known-answer tables for ECB.
      {{}, block("f34481ec3cc627bacd5dc3fb08f273e6"), block("0336763e966d92595a567cc9ce537f5e")},
      {block("10a58869d74be5a374cf867cfb473859"), {}, block("6d251e6944b051e04eaa6fb4dbf78465")},
      {{}, block("80000000000000000000000000000000"), block("3ad78e726c1ec02b7ebfe92b23d9ec34")},
      {block("80000000000000000000000000000000"), {}, block("0edd33d3c621e546455bd8ba1418bec8")},
  };
  onEachTarget([&] {
    for (const auto& c : cases) {
      EXPECT_EQ(encrypted(c.key, c.plain), c.cipher);
      EXPECT_EQ(decrypted(c.key, c.cipher), c.plain);
    }
  });
}

// The inputs of NIST's known-answer tables for AES-128 in ECB (AESAVS, appendices B to E).
std::vector<std::pair<AesBlock, AesBlock>> knownAnswerInputs() {
  std::vector<std::pair<AesBlock, AesBlock>> inputs;
  for (const auto* plain : {"f34481ec3cc627bacd5dc3fb08f273e6", "9798c4640bad75c7c3227db910174e72",
                            "96ab5c2ff612d9dfaae8c31f30c42168", "6a118a874519e64e9963798a503f1d35",
                            "cb9fceec81286ca3e989bd979b0cb284", "b26aeb1874e47ca8358ff22378f09144",
                            "58c8e00b2631686d54eab84b91f0aca1"})
    inputs.push_back({{}, block(plain)});
  for (const auto* key : {"10a58869d74be5a374cf867cfb473859", "caea65cdbb75e9169ecd22ebe6e54675",
                          "a2e2fa9baf7d20822ca9f0542f764a41", "b6364ac4e1de1e285eaf144a2415f7a0",
                          "64cf9c7abc50b888af65f49d521944b2", "47d6742eefcc0465dc96355e851b64d9",
                          "3eb39790678c56bee34bbcdeccf6cdb5", "64110a924f0743d500ccadae72c13427",
                          "18d8126516f8a12ab1a36d9f04d68e51", "f530357968578480b398a3c251cd1093",
                          "da84367f325d42d601b4326964802e8e", "e37b1c6aa2846f6fdb413f238b089f23",
                          "6c002b682483e0cabcc731c253be5674", "143ae8ed6555aba96110ab58893a8ae1",
                          "b69418a85332240dc82492353956ae0c", "71b5c08a1993e1362e4d0ce9b22b78d5",
                          "e234cdca2606b81f29408d5f6da21206", "13237c49074a3da078dc1d828bb78c6f",
                          "3071a2a48fe6cbd04f1a129098e308f8", "90f42ec0f68385f2ffc5dfc03a654dce",
                          "febd9a24d8b65c1c787d50a4ed3619a9"})
    inputs.push_back({block(key), {}});
  AesBlock ones{};
  for (std::size_t bit = 0; bit < 128; ++bit) {
    ones[bit / 8] |= static_cast<std::uint8_t>(0x80 >> bit % 8);
    inputs.push_back({{}, ones});
    inputs.push_back({ones, {}});
  }
  return inputs;
}

TEST(AESx, GivesNistsKnownAnswersAsOpensslDoes) {
  onEachTarget([] {
    for (const auto& [key, plain] : knownAnswerInputs()) {
      const AesBlock cipher = encrypted(key, plain);
      EXPECT_TRUE(std::ranges::equal(cipher, aesByOpenssl(Way::Encrypt, key, plain)));
      EXPECT_EQ(decrypted(key, cipher), plain);
      EXPECT_TRUE(std::ranges::equal(decrypted(key, plain), aesByOpenssl(Way::Decrypt, key, plain)));
    }
  });
}

TEST(AESx, TreatsBuffersOfAnyLengthAsOpensslDoes) {
  onEachTarget([] {
    for (std::size_t length = 0; length <= 1200; length += length < 100 ? 1 : 13) {
      const std::size_t whole = (length + 15) / 16 * 16;
      const auto source = randomBytes(whole);
      std::vector<std::uint8_t> out(whole + 16, 0xEE);
      const auto given = aes().Dcs_EnCodeSrc_Des_Lenghts_Key(source.data(), out.data(),
                                                             static_cast<std::uint32_t>(length), kKey.data());
      ASSERT_EQ(given, whole);
      auto expected = aesByOpenssl(Way::Encrypt, kKey, source);
      expected.resize(whole + 16, 0xEE);
      ASSERT_EQ(out, expected) << length;

      std::fill(out.begin(), out.end(), 0xEE);
      aes().Dcs_DeCodeSrc_Des_Lengths_Key(expected.data(), out.data(), static_cast<std::uint32_t>(length),
                                          kKey.data());
      const auto decrypted = static_cast<std::ptrdiff_t>(length / 16 * 16);
      ASSERT_TRUE(std::equal(out.begin(), out.begin() + decrypted, source.begin())) << length;
      ASSERT_TRUE(std::all_of(out.begin() + decrypted, out.end(), [](int byte) { return byte == 0xEE; }));
    }
  });
}

TEST(AESx, SetsTheKeyEvenWhereThereIsNothingToDo) {
  aes().Dcs_SetKey(kPlain.data());
  EXPECT_EQ(aes().Dcs_EnCodeSrc_Des_Lenghts_Key(nullptr, nullptr, 0, kKey.data()), 0U);
  EXPECT_EQ(held(AESx::Key), kKey);
  aes().Dcs_SetKey(kPlain.data());
  aes().Dcs_DeCodeSrc_Des_Lengths_Key(nullptr, nullptr, 15, kKey.data());
  EXPECT_EQ(held(AESx::Key), kKey);
  AesBlock out{};
  aes().Dcs_AESEnCodeIn_Out(kPlain.data(), out.data());
  EXPECT_EQ(out, kCipher);
}

// One block after the other, as the operations are defined.
void blockByBlock(Way way, const std::uint8_t* src, std::uint8_t* des, std::size_t length) {
  for (std::size_t at = 0; at + 16 <= length; at += 16) {
    if (way == Way::Encrypt)
      aes().Dcs_AESEnCodeIn_Out(src + at, des + at);
    else
      aes().Dcs_AESDeCodeIn_Out(src + at, des + at);
  }
}

struct Memory {
  std::vector<std::uint8_t> buffer;
  AesBlock in, out, state;
  std::array<std::uint8_t, 176> roundKeys;
  bool operator==(const Memory&) const = default;
};

AesBlock stateBytes() {
  AesBlock bytes{};
  for (std::size_t i = 0; i < 16; ++i) bytes[i] = AESx::state[i % 4][i / 4];
  return bytes;
}

// What the operations left, which is then wiped out.
Memory takeMemory(std::vector<std::uint8_t> buffer) {
  Memory memory{std::move(buffer), held(AESx::In), held(AESx::Out), stateBytes(),
                std::to_array(AESx::RoundKey)};
  EXPECT_EQ(memory.state, memory.out);
  std::memset(AESx::In, 0, sizeof AESx::In);
  std::memset(AESx::Out, 0, sizeof AESx::Out);
  std::memset(AESx::state, 1, sizeof AESx::state);
  std::memset(AESx::RoundKey, 0, sizeof AESx::RoundKey);
  return memory;
}

TEST(AESx, LeavesWhatBlockByBlockLeavesForEveryOverlap) {
  constexpr std::uint32_t kLength = 640;
  constexpr std::size_t kMiddle = 700;
  aes().Dcs_SetKey(kKey.data());
  aes().KeyExpansion();
  const auto roundKeys = std::to_array(AESx::RoundKey);
  onEachTarget([&] {
    for (const Way way : {Way::Encrypt, Way::Decrypt}) {
      for (const int distance : {0, -1, -16, -100, -640, -700, 1, 15, 16, 17, 64, 100, 511, 639, 640, 700}) {
        auto bulk = randomBytes(2100);
        auto single = bulk;
        aes().Dcs_SetKey(kKey.data());
        blockByBlock(way, single.data() + kMiddle, single.data() + kMiddle + distance, kLength);
        const Memory expected = takeMemory(single);
        EXPECT_EQ(expected.roundKeys, roundKeys);

        const std::uint8_t* src = bulk.data() + kMiddle;
        std::uint8_t* des = bulk.data() + kMiddle + distance;
        if (way == Way::Encrypt)
          aes().Dcs_EnCodeSrc_Des_Lenghts_Key(src, des, kLength, kKey.data());
        else
          aes().Dcs_DeCodeSrc_Des_Lengths_Key(src, des, kLength, kKey.data());
        EXPECT_EQ(takeMemory(bulk), expected) << distance;
      }
    }
  });
}

TEST(AESx, WorksStepByStepOnItsArrays) {
  // FIPS 197, appendix B: the states of round 1 and the first and last round keys, in column order.
  aes().Dcs_SetKey(block("2b7e151628aed2a6abf7158809cf4f3c").data());
  aes().KeyExpansion();
  const auto roundKey = [](int round) {
    AesBlock key{};
    std::copy_n(AESx::RoundKey + 16 * round, 16, key.begin());
    return key;
  };
  EXPECT_EQ(roundKey(0), block("2b7e151628aed2a6abf7158809cf4f3c"));
  EXPECT_EQ(roundKey(1), block("a0fafe1788542cb123a339392a6c7605"));
  EXPECT_EQ(roundKey(10), block("d014f9a8c9ee2589e13f0cc8b6630ca6"));

  const auto setState = [](const AesBlock& bytes) {
    for (std::size_t i = 0; i < 16; ++i) AESx::state[i % 4][i / 4] = bytes[i];
  };
  setState(block("3243f6a8885a308d313198a2e0370734"));
  aes().AddRoundKey(0);
  EXPECT_EQ(stateBytes(), block("193de3bea0f4e22b9ac68d2ae9f84808"));
  aes().SubBytes();
  EXPECT_EQ(stateBytes(), block("d42711aee0bf98f1b8b45de51e415230"));
  aes().ShiftRows();
  EXPECT_EQ(stateBytes(), block("d4bf5d30e0b452aeb84111f11e2798e5"));
  aes().MixColumns();
  EXPECT_EQ(stateBytes(), block("046681e5e0cb199a48f8d37a2806264c"));
  aes().AddRoundKey(1);
  EXPECT_EQ(stateBytes(), block("a49c7ff2689f352b6b5bea43026a5049"));
  aes().AddRoundKey(11);
  aes().AddRoundKey(-1);
  EXPECT_EQ(stateBytes(), block("a49c7ff2689f352b6b5bea43026a5049"));
  aes().AddRoundKey(1);
  aes().InvMixColumns();
  aes().InvShiftRows();
  aes().InvSubBytes();
  aes().AddRoundKey(0);
  EXPECT_EQ(stateBytes(), block("3243f6a8885a308d313198a2e0370734"));

  std::copy_n(block("3243f6a8885a308d313198a2e0370734").begin(), 16, AESx::In);
  aes().Cipher();
  EXPECT_EQ(held(AESx::Out), block("3925841d02dc09fbdc118597196a0b32"));
  EXPECT_EQ(stateBytes(), held(AESx::Out));
  std::copy_n(AESx::Out, 16, AESx::In);
  aes().InvCipher();
  EXPECT_EQ(held(AESx::Out), block("3243f6a8885a308d313198a2e0370734"));
}

TEST(AESx, AnswersFromTheSBoxAndItsInverse) {
  // Against the definition (FIPS 197, 5.1.1): the inverse is found by trial.
  const auto product = [](unsigned a, unsigned b) {
    unsigned sum = 0;
    for (; b != 0; b >>= 1, a = a << 1 ^ (a & 0x80 ? 0x11B : 0))
      if (b & 1) sum ^= a;
    return sum;
  };
  for (unsigned value = 0; value < 256; ++value) {
    unsigned inverse = 0;
    while (value != 0 && product(value, inverse) != 1) ++inverse;
    const auto b = static_cast<std::uint8_t>(inverse);
    const int expected = b ^ std::rotl(b, 1) ^ std::rotl(b, 2) ^ std::rotl(b, 3) ^ std::rotl(b, 4) ^ 0x63;
    EXPECT_EQ(aes().getSBoxValue(static_cast<int>(value)), expected);
    EXPECT_EQ(aes().getSBoxInvert(expected), static_cast<int>(value));
  }
  for (const int outside : {-1, 256, INT32_MIN, INT32_MAX}) {
    EXPECT_EQ(aes().getSBoxValue(outside), -1);
    EXPECT_EQ(aes().getSBoxInvert(outside), -1);
  }
}

TEST(AESx, IsOneForTheWholeProcess) {
  std::array<AESx*, 4> seen{};
  std::vector<std::thread> threads;
  for (auto& instance : seen) threads.emplace_back([&instance] { instance = &AESx::shared(); });
  for (auto& thread : threads) thread.join();
  for (const AESx* instance : seen) EXPECT_EQ(instance, &AESx::shared());
  EXPECT_EQ(AESx::Nr, 10);
  EXPECT_EQ(AESx::Nk, 4);
}

}  // namespace
}  // namespace vantrel
