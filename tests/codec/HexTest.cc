#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>

#include "tests/codec/HexOracle.h"
#include "vantrel/base/simd/Target.h"
#include "vantrel/codec/KWTools.h"

namespace vantrel {
namespace {

using codec::testing::hexByStrtol;

std::vector<std::uint8_t> contents(const Bytes& bytes) { return {bytes.begin(), bytes.end()}; }

TEST(HexToData, ReadsPairsAsTheCLibraryDoes) {
  struct Case {
    std::string_view text;
    std::vector<std::uint8_t> bytes;
  };
  const Case cases[] = {
      {"", {}},
      {"a", {}},
      {"abc", {0xAB}},
      {"AB cd EF", {0xAB, 0xCD, 0xEF}},
      {"0x1F", {0x00, 0x1F}},
      {"0X1F", {0x00, 0x1F}},
      {"GG", {0x00}},
      {"0A", {0x0A}},
      {"0a", {0x0A}},
      {"5z", {0x05}},
      {"zz", {0x00}},
      {"-1", {0xFF}},
      {"-f", {0xF1}},
      {"+7", {0x07}},
      {"--", {0x00}},
      {"1-", {0x01}},
      {"12 34", {0x12, 0x34}},
      {"1 23", {0x12}},
      {"   ", {}},
      {"\t9", {0x09}},
      {"\v9\f8\r7\n6", {0x09, 0x08, 0x07, 0x06}},
      {"9\t", {0x09}},
      {std::string_view("\0001", 2), {0x00}},
      {std::string_view("1\0", 2), {0x01}},
      {"12:34", {0x12, 0x00}},
      {"é1", {0x00}},                // U+00E9: no digit
      {"ıf", {0x1F}},                // U+0131, whose low byte is the digit 1
      {"Ġ5", {0x05}},                // U+0120, whose low byte is white space but which is no space to drop
      {"一二三四", {0x00, 0x00}},    // one unit each
      {"\xF0\x9F\x98\x80", {0x00}},  // two units, D83D DE00
      {"1\xF0\x90\x8C\xB1"
       "1",
       {0x01, 0x11}},  // units D800 and DF31: their low bytes are NUL and the digit 1
  };
  for (const Case& c : cases) EXPECT_EQ(contents(KWTools::HexToData(c.text)), c.bytes) << c.text;
}

TEST(HexToData, TakesAbsentTextForEmpty) { EXPECT_TRUE(KWTools::HexToData(std::nullopt).empty()); }

TEST(HexToData, CountsBrokenUtf8AsReplacementCharacters) {
  // A lone continuation byte is one unit (U+FFFD); a lead that is cut off takes what belongs to it along.
  EXPECT_EQ(contents(KWTools::HexToData("1\x80"
                                        "22")),
            (std::vector<std::uint8_t>{0x01, 0x22}));
  EXPECT_EQ(contents(KWTools::HexToData("1\xE4\xB8"
                                        "22")),
            (std::vector<std::uint8_t>{0x01, 0x22}));
}

TEST(DataToHex, WritesTwoLowercaseDigitsAByte) {
  EXPECT_EQ(KWTools::dataToHex(Bytes({0x00, 0x0A, 0xFF})), "000aff");
  EXPECT_EQ(KWTools::dataToHex(Bytes()), "");
  EXPECT_EQ(KWTools::dataToHex(std::nullopt), "");
}

TEST(DataToHex, AgreesWithPrintfForEveryByteInBothOperations) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    char expected[3];
    std::snprintf(expected, sizeof expected, "%02x", byte);
    const Bytes data({static_cast<std::uint8_t>(byte)});
    EXPECT_EQ(KWTools::dataToHex(data), expected);
    EXPECT_EQ(KWTools::dataChangeToString(data), expected);
  }
}

std::vector<simd::Target> targetsThatRun() {
  std::vector<simd::Target> targets(simd::kTargets.begin(), simd::kTargets.end());
  std::erase_if(targets, [](simd::Target target) { return !simd::runs(target); });
  return targets;
}

/// Every path that this machine has.
class HexOnTarget : public ::testing::TestWithParam<simd::Target> {
 protected:
  void SetUp() override {
    limit_.emplace(GetParam());
    ASSERT_EQ(simd::current(), GetParam());
  }

  std::mt19937 random_{20240229};

  std::size_t upTo(std::size_t most) { return std::uniform_int_distribution<std::size_t>(0, most)(random_); }

 private:
  std::optional<simd::ScopedTargetLimit> limit_;
};

INSTANTIATE_TEST_SUITE_P(Targets, HexOnTarget, ::testing::ValuesIn(targetsThatRun()),
                         [](const auto& tested) { return simd::nameOf(tested.param); });

TEST_P(HexOnTarget, ReadsEveryPairOfCharactersLikeStrtol) {
  // In the middle of clean digits, so that the pair goes through the widest vectors too.
  std::string text(512, '7');
  for (unsigned first = 0; first < 128; ++first) {
    for (unsigned second = 0; second < 128; ++second) {
      const std::size_t at = 2 * (64 + (first * 7 + second) % 64);
      text[at] = static_cast<char>(first);
      text[at + 1] = static_cast<char>(second);
      ASSERT_EQ(contents(KWTools::HexToData(text)), hexByStrtol(text)) << first << ' ' << second;
      text[at] = text[at + 1] = '7';
    }
  }
}

TEST_P(HexOnTarget, ReadsCleanTextOfEveryLengthAndAlignment) {
  constexpr char kDigits[] = "0123456789abcdefABCDEF";
  std::string text(1100, '0');
  for (char& c : text) c = kDigits[upTo(21)];
  for (std::size_t length = 0; length < 600; ++length) {
    const std::string_view part = std::string_view(text).substr(upTo(70), length);
    ASSERT_EQ(contents(KWTools::HexToData(part)), hexByStrtol(part)) << length;
  }
}

TEST_P(HexOnTarget, ReadsDirtyTextLikeStrtol) {
  // From nearly clean to hardly a digit; several bytes a character fall on every seam between pieces.
  const std::vector<std::string> dirt = {" ",
                                         "  ",
                                         "0x",
                                         "-",
                                         "+",
                                         "\n",
                                         "\t",
                                         ":",
                                         "z",
                                         "é",
                                         "ı",
                                         "Ġ",
                                         "中",
                                         "\xF0\x9F\x98\x80",
                                         std::string(1, '\0'),
                                         "@",
                                         "`",
                                         "g",
                                         "G",
                                         "/",
                                         "\x10"};
  constexpr char kDigits[] = "0123456789abcdefABCDEF";
  for (int round = 0; round < 3000; ++round) {
    const std::size_t one_in = std::size_t{1} << upTo(11);
    const std::size_t kinds = upTo(dirt.size() - 1);
    std::string text;
    for (std::size_t length = upTo(2500); text.size() < length;) {
      if (upTo(one_in) == 0) text += dirt[upTo(kinds)];
      text += kDigits[upTo(21)];
    }
    ASSERT_EQ(contents(KWTools::HexToData(text)), hexByStrtol(text)) << text;
  }
}

TEST_P(HexOnTarget, WritesEveryLengthAndAlignmentLikeTheTable) {
  std::vector<std::uint8_t> bytes(1500);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random_());
  const auto owner = std::make_shared<std::vector<std::uint8_t>>(bytes);
  for (std::size_t length = 0; length < 700; ++length) {
    const auto part = std::span<const std::uint8_t>(*owner).subspan(upTo(70), length);
    std::string expected;
    for (std::uint8_t byte : part) {
      expected += "0123456789abcdef"[byte / 16];
      expected += "0123456789abcdef"[byte % 16];
    }
    const std::string text = KWTools::dataToHex(Bytes::sharing(part, owner));
    ASSERT_EQ(text, expected) << length;
    ASSERT_EQ(std::strlen(text.c_str()), 2 * length) << "ends with NUL";
  }
}

TEST_P(HexOnTarget, GivesBackWhatItWrote) {
  for (std::size_t length : {0U, 1U, 63U, 64U, 65U, 4096U, 1000003U}) {
    std::vector<std::uint8_t> bytes(length);
    for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random_());
    const Bytes data(bytes);
    EXPECT_EQ(KWTools::HexToData(KWTools::dataToHex(data)), data) << length;
  }
}

}  // namespace
}  // namespace vantrel
