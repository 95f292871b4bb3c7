#include "vantrel/base/Utf8.h"
#include "vantrel/data/TextEncoding.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vantrel/codec/KWTools.h"

namespace vantrel {
namespace {

using ::testing::Optional;

// The bytes come from python: text.encode(name).hex().
TEST(TextEncoding, ReadsWhatPythonWrote) {
  struct Case {
    std::uint64_t encoding;
    std::string_view hex;
    std::string text;
  };
  const Case cases[] = {
      {0x1, "506c61696e207e", "Plain ~"},                           // ascii
      {0x3, "c6fccbdcb8eca5ab", "日本語カ"},                        // euc_jp
      {0x5, "6772fc6e20ff", "grün ÿ"},                              // latin-1
      {0x8, "93fa967b8ceab68740", "日本語ｶ①"},                      // cp932
      {0x9, "a3f364bc", "Łódź"},                                    // iso8859-2
      {0xB, "cff0e8e2e5f2", "Привет"},                              // cp1251
      {0xC, "93809420e9", "“€” é"},                                 // cp1252
      {0xD, "c5ebebdce4e1", "Ελλάδα"},                              // cp1253
      {0xE, "dd7374616e62756c20f0", "İstanbul ğ"},                  // cp1254
      {0xF, "8e6c759d2080", "Žluť €"},                              // cp1250
      {0x15, "1b2442467c4b5c1b28422061", "日本 a"},                 // iso2022_jp
      {0x1E, "8eaab9", "é™π"},                                      // mac_roman
      {0x80000203, "a1f8", "Ħĝ"},                                   // iso8859-3
      {0x80000204, "a2ac", "ĸŦ"},                                   // iso8859-4
      {0x80000205, "b4d6", "Дж"},                                   // iso8859-5
      {0x80000206, "d3e4c7e5", "سلام"},                             // iso8859-6
      {0x80000207, "d9ec", "Ωμ"},                                   // iso8859-7
      {0x80000208, "f9ece5ed", "שלום"},                             // iso8859-8
      {0x80000209, "f0dd", "ğİ"},                                   // iso8859-9
      {0x8000020A, "abb9", "Ŧđ"},                                   // iso8859-10
      {0x8000020B, "e4b7c2", "ไทย"},                                // tis-620
      {0x8000020D, "dee0e6", "Žąę"},                                // iso8859-13
      {0x8000020E, "d0fe", "Ŵŷ"},                                   // iso8859-14
      {0x8000020F, "a4bd", "€œ"},                                   // iso8859-15
      {0x80000400, "82b0fb", "é░√"},                                // cp437
      {0x80000410, "82b5", "éÁ"},                                   // cp850
      {0x80000412, "9d8b", "Łő"},                                   // cp852
      {0x8000041B, "8ca8e0", "Мир"},                                // cp866
      {0x80000421, "d6d0cec4e946", "中文镕"},                       // gbk
      {0x80000422, "c7d1b1db8c63", "한글똠"},                       // cp949
      {0x80000423, "a4a4a4e5f9d6", "中文碁"},                       // cp950
      {0x80000505, "f9ece5ed", "שלום"},                             // cp1255
      {0x80000506, "d3e1c7e3", "سلام"},                             // cp1256
      {0x80000507, "dee0e6", "Žąę"},                                // cp1257
      {0x80000508, "f5fd", "ơư"},                                   // cp1258
      {0x80000631, "bcf2cce5e946", "简体镕"},                       // gbk
      {0x80000632, "d6d0a2e3953282368135f4379439fc36", "中€𠀀ḿ😀"},  // gb18030
      {0x80000632, "a8bc", "\uE7C7"},                               // gb18030
      {0x80000820, "1b2442467c4b5c1b2842", "日本"},                 // iso2022_jp
      {0x80000821, "1b2442467c4b5c1b24284347511b2842", "日本한"},   // iso2022_jp_2
      {0x80000840, "1b2429430e4751315b0f", "한글"},                 // iso2022_kr
      {0x80000920, "b4c1bbfa", "漢字"},                             // euc_jp
      {0x80000930, "d6d0cec4", "中文"},                             // gb2312
      {0x80000940, "c7d1b1db", "한글"},                             // euc_kr
      {0x80000A01, "93fa967b8cea", "日本語"},                       // shift_jis
      {0x80000A02, "f0d2c9d7c5d4", "Привет"},                       // koi8_r
      {0x80000A03, "a4a4a4e5", "中文"},                             // big5
      {0x80000A05, "7e7b56504e447e7d2061", "中文 a"},               // hz
      {0x80000A06, "a4a4a4e59def", "中文嘅"},                       // big5hkscs
      {0x80000A08, "b7d6c1cb", "Їжак"},                             // koi8_u
      {0x90000100, "00614e2dd83dde00", "a中😀"},                     // utf-16-be
      {0x94000100, "61002d4e3dd800de", "a中😀"},                     // utf-16-le
      {0x98000100, "0000006100004e2d0001f600", "a中😀"},             // utf-32-be
      {0x9C000100, "610000002d4e000000f60100", "a中😀"},             // utf-32-le
      {0x4, "61e4b8adf09f9880", "a中😀"},                            // utf-8
      {0xA, "fffe61002d4e3dd800de", "a中😀"},                        // utf-16
      {0x8C000100, "fffe0000610000002d4e000000f60100", "a中😀"},     // utf-32
  };
  for (const Case& c : cases) {
    EXPECT_THAT(text::decode(KWTools::HexToData(c.hex), c.encoding), Optional(c.text))
        << std::hex << c.encoding;
  }
}

TEST(TextEncoding, RefusesWhatIsNotValid) {
  struct Case {
    std::uint64_t encoding;
    std::string_view hex;
    const char* fault;
  };
  const Case cases[] = {
      {1, "80", "ASCII has seven bits"},
      {text::kUtf8, "ff", "no lead byte"},
      {text::kUtf8, "c0af", "overlong"},
      {text::kUtf8, "e08080", "overlong"},
      {text::kUtf8, "f08f8080", "overlong"},
      {text::kUtf8, "eda080", "a surrogate"},
      {text::kUtf8, "f4908080", "past U+10FFFF"},
      {text::kUtf8, "f5808080", "past U+10FFFF"},
      {text::kUtf8, "61e4b8", "cut off"},
      {text::kUtf8, "80", "a continuation alone"},
      {text::kUtf8, "61626364656667686162636465666768ff", "behind whole words"},
      {text::kUtf16LittleEndian, "61", "half a unit"},
      {text::kUtf16LittleEndian, "610062", "half a unit"},
      {text::kUtf16LittleEndian, "3dd8", "a lead surrogate alone"},
      {text::kUtf16LittleEndian, "3dd86100", "a lead surrogate alone"},
      {text::kUtf16LittleEndian, "00de", "a trail surrogate alone"},
      {text::kGb18030, "81", "cut off"},
      {text::kGb18030, "817f", "no second byte"},
      {text::kGb18030, "81308130ff", "no lead byte"},
      {text::kGb18030, "8130", "cut off"},
      {text::kGb18030, "e3329a36", "past U+10FFFF"},
      {0x98000100, "00110000", "past U+10FFFF"},
      {0x98000100, "0000d800", "a surrogate"},
      {8, "81", "cut off"},
      {3, "a4", "cut off"},
      {0x80000A03, "a4ff", "no second byte"},
      {21, "1b2442467c4b", "cut off"},
      {0x80000930, "b0a1fefd", "a code that GB 2312 leaves free"},
      {0x80000930, "aaa1", "a code that GB 2312 leaves free"},
      {0, "61", "no encoding"},
      {2, "61", "no encoding that is known"},
      {0x80000000, "61", "no encoding"},
      {0xFFFFFFFFFFFFFFFF, "61", "no encoding"},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(text::decode(KWTools::HexToData(c.hex), c.encoding), std::nullopt) << c.hex << ": " << c.fault;
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

TEST(Utf8AndUtf16, ConvertIntoEachOther) {
  const std::string utf8 = "a\u00E9\u0800\uFFFD\U00010000\U0010FFFF" + std::string(1, '\0');
  const std::u16string utf16 = u"a\u00E9\u0800\uFFFD\U00010000\U0010FFFF" + std::u16string(1, u'\0');
  EXPECT_EQ(text::utf16(utf8), utf16);
  EXPECT_EQ(text::utf8(utf16), utf8);
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
