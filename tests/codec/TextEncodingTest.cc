#include "vantrel/base/Utf8.h"
#include "vantrel/data/TextEncoding.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <sstream>

#include "vantrel/codec/KWTools.h"

namespace vantrel {
namespace {

using ::testing::Optional;

// Number, bytes, text, with _ for a space. The bytes come from python: text.encode(name).hex().
constexpr const char* kReadable = R"(
1 506c61696e207e Plain_~   3 c6fccbdcb8eca5ab 日本語カ   5 6772fc6e20ff grün_ÿ
8 93fa967b8ceab68740 日本語ｶ①   9 a3f364bc Łódź   b cff0e8e2e5f2 Привет
c 93809420e9 “€”_é   d c5ebebdce4e1 Ελλάδα   e dd7374616e62756c20f0 İstanbul_ğ
f 8e6c759d2080 Žluť_€   15 1b2442467c4b5c1b28422061 日本_a   1e 8eaab9 é™π   80000203 a1f8 Ħĝ
80000204 a2ac ĸŦ   80000205 b4d6 Дж   80000206 d3e4c7e5 سلام   80000207 d9ec Ωμ
80000208 f9ece5ed שלום   80000209 f0dd ğİ   8000020a abb9 Ŧđ   8000020b e4b7c2 ไทย
8000020d dee0e6 Žąę   8000020e d0fe Ŵŷ   8000020f a4bd €œ   80000400 82b0fb é░√
80000410 82b5 éÁ   80000412 9d8b Łő   8000041b 8ca8e0 Мир   80000421 d6d0cec4e946 中文镕
80000422 c7d1b1db8c63 한글똠   80000423 a4a4a4e5f9d6 中文碁   80000505 f9ece5ed שלום
80000506 d3e1c7e3 سلام   80000507 dee0e6 Žąę   80000508 f5fd ơư   80000631 bcf2cce5e946 简体镕
80000632 d6d0a2e3953282368135f4379439fc36 中€𠀀ḿ😀
80000820 1b2442467c4b5c1b2842 日本   80000821 1b2442467c4b5c1b24284347511b2842 日本한
80000840 1b2429430e4751315b0f 한글   80000920 b4c1bbfa 漢字   80000930 d6d0cec4 中文
80000940 c7d1b1db 한글   80000a01 93fa967b8cea 日本語   80000a02 f0d2c9d7c5d4 Привет
80000a03 a4a4a4e5 中文   80000a05 7e7b56504e447e7d2061 中文_a   80000a06 a4a4a4e59def 中文嘅
80000a08 b7d6c1cb Їжак   90000100 00614e2dd83dde00 a中😀   94000100 61002d4e3dd800de a中😀
98000100 0000006100004e2d0001f600 a中😀   9c000100 610000002d4e000000f60100 a中😀
4 61e4b8adf09f9880 a中😀   a fffe61002d4e3dd800de a中😀
8c000100 fffe0000610000002d4e000000f60100 a中😀
)";

TEST(TextEncoding, ReadsWhatPythonWrote) {
  std::istringstream table(kReadable);
  std::uint64_t encoding = 0;
  std::string hex, expected;
  int cases = 0;
  for (; table >> std::hex >> encoding >> hex >> expected; ++cases) {
    std::ranges::replace(expected, '_', ' ');
    EXPECT_THAT(text::decode(KWTools::HexToData(hex), encoding), Optional(expected)) << std::hex << encoding;
  }
  EXPECT_EQ(cases, 56);
  EXPECT_THAT(text::decode(KWTools::HexToData("a8bc"), text::kGb18030), Optional(std::string("\uE7C7")));
}

TEST(TextEncoding, RefusesWhatIsNotValid) {
  for (const char* row : {
           "1 80",  // seven bits
           // No lead byte, overlong, a surrogate, past U+10FFFF, cut off, a continuation alone.
           "4 ff c0af e08080 f08f8080 eda080 f4908080 f5808080 61e4b8 80 61626364656667686162636465666768ff",
           "94000100 61 610062 3dd8 3dd86100 00de",      // half units and half pairs
           "80000632 81 8130 817f 81308130ff e3329a36",  // cut off, no second byte, no lead, past U+10FFFF
           "98000100 00110000 0000d800",                 // past U+10FFFF, a surrogate
           "8 81", "3 a4", "15 1b2442467c4b",            // cut off
           "80000a03 a4ff", "80000930 b0a1fefd aaa1",    // codes that are left free
           "0 61", "2 61", "80000000 61", "ffffffffffffffff 61"  // no encodings, or none that is known
       }) {
    std::istringstream words(row);
    std::uint64_t encoding = 0;
    words >> std::hex >> encoding;
    for (std::string hex; words >> hex;)
      EXPECT_EQ(text::decode(KWTools::HexToData(hex), encoding), std::nullopt) << row << ": " << hex;
  }
}

TEST(TextEncoding, TellsWhichByteIsWrong) {
  const struct {
    std::uint64_t encoding;
    std::string_view hex;
    int offset;
  } cases[] = {{text::kUtf8, "61626364656667686162636465666768e4b8ff", 16},
               {text::kUtf16LittleEndian, "610000de", 2},
               {text::kGb18030, "61b0a1ff61", 3},
               {10, "feff0061dc00", 4},
               {8, "6181", 1}};
  for (const auto& [encoding, hex, offset] : cases) {
    EXPECT_EQ(text::decode(KWTools::HexToData(hex), encoding).error().info["offset"], ValueTree(offset))
        << hex;
  }
  EXPECT_EQ(text::decode(Bytes(), 2).error().code, text::kUnknownEncoding);
}

TEST(TextEncoding, TellsTheByteOrderByAMarkOnlyWhereItIsAskedTo) {
  EXPECT_THAT(text::decode(Bytes({0xFE, 0xFF, 0x00, 0x61}), 10), Optional(std::string("a")));
  EXPECT_THAT(text::decode(Bytes({0x61, 0x00}), 10), Optional(std::string("a")));
  EXPECT_THAT(text::decode(KWTools::HexToData("0000feff00000061"), 0x8c000100), Optional(std::string("a")));
  EXPECT_THAT(text::decode(Bytes({0xFF, 0xFE, 0x61, 0x00}), text::kUtf16LittleEndian),
              Optional(std::string("\uFEFFa")));
  EXPECT_THAT(text::decode(KWTools::HexToData("efbbbf61"), text::kUtf8), Optional(std::string("\uFEFFa")));
}

TEST(TextEncoding, KeepsCharactersWholeAcrossLongText) {
  // Odd lengths in front shift each character of four bytes over every boundary inside.
  for (std::size_t front = 0; front < 4; ++front) {
    std::vector<std::uint8_t> bytes(front, 'x');
    std::string expected(front, 'x');
    for (int i = 0; i < 20000; ++i) {
      bytes.insert(bytes.end(), {0x94, 0x39, 0xFC, 0x36});
      expected += "\U0001F600";
    }
    EXPECT_THAT(text::decode(Bytes(bytes), text::kGb18030), Optional(expected));
    bytes.push_back(0x94);
    EXPECT_EQ(text::decode(Bytes(bytes), text::kGb18030), std::nullopt);
  }
}

TEST(Utf8AndUtf16, ReplaceWhatIsBroken) {
  // One replacement for each maximal part, as the Unicode Standard recommends (its Table 3-11 is the last
  // case).
  EXPECT_EQ(text::utf16("a\x80z"), u"a\uFFFDz");
  EXPECT_EQ(text::utf16("\xE4\xB8"), u"\uFFFD");
  EXPECT_EQ(text::utf16("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(text::utf16("\xF4\x91\x92\x93\xFF\x41\x80\xBF\x42"),
            u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFDA\uFFFD\uFFFDB");
  EXPECT_EQ(text::utf8(std::u16string{u'a', 0xD83D, u'b', 0xDE00, 0xD83D}), "a\uFFFDb\uFFFD\uFFFD");
}

TEST(ValidUtf8, AgreesWithTheDecoderOfTheReplacement) {
  // Every second and third byte behind every lead.
  for (unsigned lead = 0x80; lead < 0x100; ++lead) {
    for (unsigned second = 0x70; second < 0x100; ++second) {
      const std::string bytes = {static_cast<char>(lead), static_cast<char>(second), '\x80', '\x80'};
      for (std::size_t length = 1; length <= 4; ++length) {
        const std::string text = bytes.substr(0, length);
        const bool clean = text::utf16(text).find(u'\uFFFD') == std::u16string::npos;
        EXPECT_EQ(text::isValidUtf8(text), clean) << lead << ' ' << second << ' ' << length;
      }
    }
  }
}

}  // namespace
}  // namespace vantrel
