#include <gtest/gtest.h>

#include <random>
#include <string_view>
#include <vector>

#include "tests/codec/HexOracle.h"
#include "tests/support/EachTarget.h"
#include "tests/support/RandomBytes.h"
#include "vantrel/base/Bytes.h"
#include "vantrel/codec/AESx.h"
#include "vantrel/codec/Crc.h"
#include "vantrel/codec/KWCrc16.h"
#include "vantrel/codec/detail/Crc16Running.h"
#include "vantrel/codec/kw_crc16.h"

extern "C" int crc16FromC(void);

namespace vantrel::tests {
namespace {

using codec::detail::crc16Running;

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

TEST(Crc16, ServesAProgramInC) { EXPECT_EQ(crc16FromC(), 0); }

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
  const Bytes request = Bytes::copyOf(hexByStrtol(
      "000100582112a442b7e7a701bc34d686fa87dfae802200105354554e207465737420636c69656e74002400046e0001ff"
      "80290008932ff9b151263b36000600096576746a3a68367659202020000800149aeaa70cbfd8cb56781ef2b5b2d3f249"
      "c1b571a2"));
  EXPECT_EQ(crc32Of(request.text()), 0xE57A3BCFU);
}

// Short pieces for the most part, where all the edges of the vector paths lie, checked in two pieces.
TEST(Crc, AgreesWithTheBitwiseFormInRandomCases) {
  const auto bytes = randomBytes(65535 + 64);
  onEachTarget([&] {
    std::mt19937 random(20240229);
    const auto below = [&](std::uint32_t limit) { return static_cast<std::uint16_t>(random() % limit); };
    for (int i = 0; i < 50'000; ++i) {
      const std::uint16_t offset = below(64), drawn = below(1U << below(12));
      const std::uint16_t length = i % 10'000 == 0 ? static_cast<std::uint16_t>(65535 - i / 10'000) : drawn;
      const std::uint16_t split = below(length + 1U), rest = static_cast<std::uint16_t>(length - split);
      const auto start = static_cast<std::uint32_t>(random());
      const auto start16 = static_cast<std::uint16_t>(start);
      const std::uint8_t *const front = bytes.data() + offset, *const back = front + split;
      ASSERT_EQ(kw_count_all_crc_deal(back, rest, kw_count_all_crc_deal(front, split, start16)),
                bitwise16(front, length, start16))
          << offset << ' ' << length << ' ' << split << ' ' << start16;
      ASSERT_EQ(~crc32({back, rest}, crc32({front, split}, ~start)), bitwise32(front, length, start))
          << offset << ' ' << length << ' ' << split << ' ' << start;
    }
  });
}

}  // namespace
}  // namespace vantrel::tests
