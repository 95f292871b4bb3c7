#include <gtest/gtest.h>

#include <random>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/codec/EachTarget.h"
#include "vantrel/base/Bytes.h"
#include "vantrel/codec/AESx.h"
#include "vantrel/codec/Crc.h"
#include "vantrel/codec/KWCrc16.h"
#include "vantrel/codec/detail/Crc16Running.h"
#include "vantrel/codec/kw_crc16.h"

namespace vantrel {
namespace {

using codec::detail::crc16Running;
using codec::testing::onEachTarget;

const std::uint8_t* bytesOf(std::string_view text) {
  return reinterpret_cast<const std::uint8_t*>(text.data());
}

std::uint16_t crc16Of(std::string_view text) {
  return kw_count_crc_deal(bytesOf(text), static_cast<std::uint16_t>(text.size()));
}

std::uint16_t crc16From(std::uint16_t start, std::string_view text) {
  return kw_count_all_crc_deal(bytesOf(text), static_cast<std::uint16_t>(text.size()), start);
}

std::uint32_t crc32Of(std::string_view text) {
  return AESx::shared().ns_crc32Buffer_Lenght(bytesOf(text), static_cast<std::uint32_t>(text.size()));
}

// One bit at a time, straight from the definitions.

std::uint16_t bitwise16(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc) {
  for (; count > 0; --count) {
    crc ^= static_cast<std::uint16_t>(*bytes++ << 8);
    for (int i = 0; i < 8; ++i) crc = static_cast<std::uint16_t>(crc & 0x8000 ? crc << 1 ^ 0x1021 : crc << 1);
  }
  return crc;
}

std::uint32_t bitwise32(const std::uint8_t* bytes, std::size_t count, std::uint32_t crc) {
  for (; count > 0; --count) {
    crc ^= *bytes++;
    for (int i = 0; i < 8; ++i) crc = crc & 1 ? crc >> 1 ^ 0xEDB88320 : crc >> 1;
  }
  return crc;
}

TEST(Crc16, GivesThePublishedCheckValues) {
  const struct {
    std::uint16_t start;
    std::string_view text;
    std::uint16_t crc;
  } cases[] = {
      {0x0000, "123456789", 0x31C3},  // XMODEM
      {0xFFFF, "123456789", 0x29B1},  // IBM-3740, often called CCITT-FALSE
      {0x1D0F, "123456789", 0xE5CC},  // SPI-FUJITSU
      {0x0000, std::string_view("\0", 1), 0x0000},
      {0x0000, "\x01", 0x1021},
      {0xBEEF, "", 0xBEEF},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(crc16From(c.start, c.text), c.crc);
    EXPECT_EQ(tmp_name_crc, c.crc);
    const auto length = static_cast<std::uint16_t>(c.text.size());
    EXPECT_EQ(KWCrc16::didCrc16All_Length_CrcValue(bytesOf(c.text), length, c.start), c.crc);
    if (c.start != 0) continue;
    EXPECT_EQ(crc16Of(c.text), c.crc);
    EXPECT_EQ(KWCrc16::didCrc16_Length(bytesOf(c.text), length), c.crc);
  }
}

TEST(Crc16, LooksAtNoByteWhenThereIsNone) {
  EXPECT_EQ(kw_count_crc_deal(nullptr, 0), 0);
  EXPECT_EQ(tmp_name_crc, 0);
  EXPECT_EQ(kw_count_all_crc_deal(nullptr, 0, 0x1234), 0x1234);
  EXPECT_EQ(tmp_name_crc, 0x1234);
  EXPECT_EQ(crc16Running(), 0x1234);
}

TEST(Crc16, KeepsTheRunningValueThroughAOneShotComputation) {
  const std::uint16_t first = crc16From(0xFFFF, "123456789");
  const std::uint16_t second = crc16Of("abc");
  EXPECT_EQ(crc16Running(), first);
  EXPECT_EQ(tmp_name_crc, second);

  kw_resetCrc();
  EXPECT_EQ(crc16Running(), 0);
  EXPECT_EQ(tmp_name_crc, second);

  KWCrc16::didCrc16All_Length_CrcValue(bytesOf("xyz"), 3, first);
  EXPECT_NE(crc16Running(), 0);
  KWCrc16::didResetCrc();
  EXPECT_EQ(crc16Running(), 0);
}

TEST(Crc16, ContinuesAnywhere) {
  onEachTarget([] {
    std::vector<std::uint8_t> bytes(300);
    std::mt19937 random(5);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
    const std::uint16_t whole = kw_count_crc_deal(bytes.data(), 300);
    for (std::uint16_t cut = 0; cut <= 300; ++cut) {
      const std::uint16_t front = kw_count_crc_deal(bytes.data(), cut);
      const auto rest = static_cast<std::uint16_t>(300 - cut);
      EXPECT_EQ(kw_count_all_crc_deal(bytes.data() + cut, rest, front), whole) << cut;
    }
  });
}

TEST(Crc16, IsRightOnManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([] {
      for (int round = 0; round < 2000; ++round) {
        ASSERT_EQ(crc16Of("123456789"), 0x31C3);
        ASSERT_EQ(crc16From(0xFFFF, "123456789"), 0x29B1);
      }
    });
  }
  for (auto& thread : threads) thread.join();
}

TEST(Crc, TakesBytesOfAnyLength) {
  const Bytes digits = Bytes::copyOf("123456789");
  EXPECT_EQ(crc32(digits), 0xCBF43926U);
  EXPECT_EQ(crc32({}, 7), 7U);
  EXPECT_EQ(crc16(digits), 0x31C3);
  EXPECT_EQ(crc16(digits, 0xFFFF), 0x29B1);
  EXPECT_EQ(crc16({}, 7), 7);
  const std::vector<std::uint8_t> zeros(3'000'000);
  // By Python's zlib.crc32 and binascii.crc_hqx.
  EXPECT_EQ(crc32(zeros), 0x4D01A265U);
  EXPECT_EQ(crc16(zeros, 0xFFFF), 0x0DC2);
}

TEST(Crc32, IsTheFingerprintOfAStunMessage) {
  EXPECT_EQ(crc32Of("123456789"), 0xCBF43926 ^ 0x5354554E);  // the check value of CRC-32/ISO-HDLC
  EXPECT_EQ(crc32Of(std::string_view("\0", 1)), 0xD202EF8D ^ 0x5354554E);
  EXPECT_EQ(crc32Of(""), 0x5354554E);
  EXPECT_EQ(AESx::shared().ns_crc32Buffer_Lenght(nullptr, 0), 0x5354554E);

  // The sample request of RFC 5769, 2.1: what the FINGERPRINT at its end covers, and the value there.
  static constexpr std::uint8_t kRequest[] = {
      0x00, 0x01, 0x00, 0x58, 0x21, 0x12, 0xa4, 0x42, 0xb7, 0xe7, 0xa7, 0x01, 0xbc, 0x34, 0xd6, 0x86, 0xfa,
      0x87, 0xdf, 0xae, 0x80, 0x22, 0x00, 0x10, 0x53, 0x54, 0x55, 0x4e, 0x20, 0x74, 0x65, 0x73, 0x74, 0x20,
      0x63, 0x6c, 0x69, 0x65, 0x6e, 0x74, 0x00, 0x24, 0x00, 0x04, 0x6e, 0x00, 0x01, 0xff, 0x80, 0x29, 0x00,
      0x08, 0x93, 0x2f, 0xf9, 0xb1, 0x51, 0x26, 0x3b, 0x36, 0x00, 0x06, 0x00, 0x09, 0x65, 0x76, 0x74, 0x6a,
      0x3a, 0x68, 0x36, 0x76, 0x59, 0x20, 0x20, 0x20, 0x00, 0x08, 0x00, 0x14, 0x9a, 0xea, 0xa7, 0x0c, 0xbf,
      0xd8, 0xcb, 0x56, 0x78, 0x1e, 0xf2, 0xb5, 0xb2, 0xd3, 0xf2, 0x49, 0xc1, 0xb5, 0x71, 0xa2};
  EXPECT_EQ(AESx::shared().ns_crc32Buffer_Lenght(kRequest, sizeof kRequest), 0xE57A3BCFU);
}

// A random piece of the bytes, with what the definition gives for it.
struct Case {
  std::uint16_t offset, length, split;
  std::uint32_t start;
  std::uint16_t crc16;
  std::uint32_t crc32;
};

// Leans towards short pieces, where all the edges of the vector paths lie.
std::vector<Case> randomCases(const std::uint8_t* bytes, int count) {
  std::mt19937 random(20240229);
  const auto below = [&](std::uint32_t limit) { return static_cast<std::uint16_t>(random() % limit); };
  std::vector<Case> cases;
  for (int i = 0; i < count; ++i) {
    Case c{below(64), below(1U << random() % 12), 0, static_cast<std::uint32_t>(random()), 0, 0};
    if (i % 100'000 == 0) c.length = static_cast<std::uint16_t>(65535 - i / 100'000);
    c.split = below(c.length + 1U);
    c.crc16 = bitwise16(bytes + c.offset, c.length, static_cast<std::uint16_t>(c.start));
    c.crc32 = bitwise32(bytes + c.offset, c.length, c.start);
    cases.push_back(c);
  }
  return cases;
}

void check(const Case& c, const std::uint8_t* bytes) {
  const std::uint8_t* front = bytes + c.offset;
  const std::uint8_t* back = front + c.split;
  const auto rest = static_cast<std::uint16_t>(c.length - c.split);
  const std::uint16_t half16 = kw_count_all_crc_deal(front, c.split, static_cast<std::uint16_t>(c.start));
  const std::uint32_t half32 = crc32({front, c.split}, ~c.start);
  const auto shown = [&] {
    return testing::PrintToString(std::vector<std::uint32_t>{c.offset, c.length, c.split, c.start});
  };
  ASSERT_EQ(kw_count_all_crc_deal(back, rest, half16), c.crc16) << shown();
  ASSERT_EQ(~crc32({back, rest}, half32), c.crc32) << shown();
}

TEST(Crc, AgreesWithTheBitwiseFormInAMillionRandomCases) {
  std::vector<std::uint8_t> bytes(65535 + 64);
  std::mt19937 random(1);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  const auto cases = randomCases(bytes.data(), 1'000'000);
  onEachTarget([&] {
    for (const Case& c : cases) {
      check(c, bytes.data());
      if (testing::Test::HasFatalFailure()) return;
    }
  });
}

}  // namespace
}  // namespace vantrel
