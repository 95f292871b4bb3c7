#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <random>
#include <sstream>

#include "tests/codec/HexOracle.h"
#include "tests/support/EachTarget.h"
#include "tests/support/Exactly.h"
#include "tests/support/RandomBytes.h"
#include "vantrel/codec/KWTools.h"

namespace vantrel::tests {
namespace {

using namespace std::string_literals;

std::vector<std::uint8_t> read(std::string_view text) {
  const Bytes bytes = KWTools::HexToData(exactly(text));
  return {bytes.begin(), bytes.end()};
}

TEST(HexToData, ReadsPairsAsTheCLibraryDoes) {
  std::istringstream table(
      "abc ab 0x1F 001f 0X1F 001f GG 00 5z 05 -1 ff -f f1 +7 07 -- 00 1- 01 12:34 1200 é1 00");
  for (std::string text, hex; table >> text >> hex;) EXPECT_EQ(KWTools::dataToHex(Bytes(read(text))), hex);
  const std::pair<std::string, std::string_view> cases[] = {
      {"", ""},
      {"a", ""},
      {"AB cd EF", "abcdef"},
      {"1 23", "12"},
      {"   ", ""},
      {"\t9", "09"},
      {"\v9\f8\r7\n6", "09080706"},
      {"9\t", "09"},
      {"\0001"s, "00"},
      {"1\0"s, "01"},
      {"ıf", "1f"},                    // U+0131, whose low byte is the digit 1
      {"Ġ5", "05"},                    // U+0120, whose low byte is white space but which is no space to drop
      {"一二三四", "0000"},            // one unit each
      {"\xF0\x9F\x98\x80", "00"},      // two units, D83D DE00
      {"1\U00010331"s + "1", "0111"},  // units D800 and DF31: their low bytes are NUL and the digit 1
      // Broken: a lone continuation byte is one unit, U+FFFD; a lead that is cut off takes the rest along.
      {"1\x80"s + "22", "0122"},
      {"1\xE4\xB8"s + "22", "0122"},
      {"12\xF0\x9F\x98", "12"},
  };
  for (const auto& [text, hex] : cases) EXPECT_EQ(KWTools::dataToHex(Bytes(read(text))), hex) << text;
  EXPECT_TRUE(KWTools::HexToData(std::nullopt).empty());
}

TEST(HexToData, ReadsEveryPairOfCharactersLikeStrtol) {
  onEachTarget([] {
    // In the middle of clean digits, so that the pair goes through the widest vectors too.
    std::string text(512, '7');
    for (unsigned pair = 0; pair < 128 * 128; ++pair) {
      const std::size_t at = 2 * (64 + pair % 61);
      text[at] = static_cast<char>(pair / 128);
      text[at + 1] = static_cast<char>(pair % 128);
      ASSERT_EQ(read(text), hexByStrtol(text)) << pair;
      text[at] = text[at + 1] = '7';
    }
  });
}

TEST(HexToData, ReadsCleanAndDirtyTextLikeStrtol) {
  // From clean to hardly a digit; several bytes a character fall on every seam between pieces.
  const std::string dirt[] = {" ", "  ", "0x", "-", "+", "\n", "\t", ":",   "z", "é",   "ı",
                              "Ġ", "中", "😀",  "@", "`", "g",  "G",  "\0"s, "/", "\x10"};
  constexpr char kDigits[] = "0123456789abcdefABCDEF";
  onEachTarget([&] {
    std::mt19937 random(20240229);
    const auto upTo = [&](std::size_t most) { return random() % (most + 1); };
    for (int round = 0; round < 3000; ++round) {
      const std::size_t oneIn = std::size_t{1} << upTo(13), kinds = upTo(std::size(dirt) - 1);
      const std::size_t front = upTo(70), length = front + upTo(round % 2 ? 2500 : 300);
      std::string text(front, '0');
      while (text.size() < length) {
        if (upTo(oneIn) == 0) text += dirt[upTo(kinds)];
        text += kDigits[upTo(21)];
      }
      const Exactly block(text);
      const std::string_view part = std::string_view(block).substr(front);
      const Bytes bytes = KWTools::HexToData(part);
      ASSERT_EQ(std::vector(bytes.begin(), bytes.end()), hexByStrtol(part)) << part;
    }
  });
}

TEST(DataToHex, WritesEveryLengthAndAlignmentLikeTheTable) {
  onEachTarget([] {
    const auto owner = std::make_shared<std::vector<std::uint8_t>>(randomBytes(800));
    for (std::size_t length = 0; length < 700; ++length) {
      const auto part = std::span<const std::uint8_t>(*owner).subspan(length % 71, length);
      std::string expected;
      for (std::uint8_t byte : part) {
        expected += "0123456789abcdef"[byte / 16];
        expected += "0123456789abcdef"[byte % 16];
      }
      const Bytes data = Bytes::sharing(part, owner);
      const std::string text = KWTools::dataToHex(data);
      ASSERT_EQ(text, expected) << length;
      ASSERT_EQ(std::strlen(text.c_str()), 2 * length) << "ends with NUL";
      ASSERT_EQ(KWTools::dataChangeToString(data), expected);
    }
  });
  EXPECT_EQ(KWTools::dataToHex(std::nullopt), "");
}

}  // namespace
}  // namespace vantrel::tests
