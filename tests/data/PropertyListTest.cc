#include "vantrel/data/PropertyList.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "tests/data/PlistFiles.h"
#include "tests/support/Words.h"
#include "vantrel/data/PropertyListExtent.h"

namespace vantrel {
namespace {

using test::bytesOfHex;
using test::PlistFile;
using tests::words;

// 1 January 2001, where a property list counts from.
constexpr double k2001 = 978307200;

// Offset table and trailer of a file with one object that ends at this offset.
std::string oneObject(const std::string& object) {
  const std::size_t end = 8 + object.size() / 2;
  const char* digits = "0123456789abcdef";
  return "62706c6973743030" + object + "08" + "00000000000001010000000000000001" + "0000000000000000" +
         "00000000000000" + digits[end >> 4] + digits[end & 15];
}

struct Scalar {
  ValueTree value;
  std::string object;
};

// As Python's plistlib writes them.
const Scalar kScalars[] = {
    {true, "09"},
    {false, "08"},
    {0, "1000"},
    {255, "10ff"},
    {256, "110100"},
    {65536, "1200010000"},
    {std::int64_t{1} << 32, "130000000100000000"},
    {std::numeric_limits<std::int64_t>::max(), "137fffffffffffffff"},
    {-1, "13ffffffffffffffff"},
    {std::numeric_limits<std::int64_t>::min(), "138000000000000000"},
    {std::uint64_t{1} << 63, "1400000000000000008000000000000000"},
    {std::numeric_limits<std::uint64_t>::max(), "140000000000000000ffffffffffffffff"},
    {1.5, "233ff8000000000000"},
    {-0.1, "23bfb999999999999a"},
    {Date{k2001 + 1}, "333ff0000000000000"},
    {Date{-1}, "33c1cd27e440800000"},
    {Bytes(std::vector<std::uint8_t>{0x00, 0xff, 0x10}), "4300ff10"},
    {Bytes(), "40"},
    {"hi\x7f", "5368697f"},
    {"", "50"},
    {"abcdefghijklmno", "5f100f6162636465666768696a6b6c6d6e6f"},
    {"ü€𝄞", "6400fc20acd834dd1e"},
};

TEST(PropertyList, ReadsAndWritesScalarsByteForByteAsAnIndependentWriter) {
  for (const auto& [value, object] : kScalars) {
    const Bytes file = bytesOfHex(oneObject(object));
    EXPECT_EQ(plist::write(value), file) << object;
    EXPECT_GE(plist::extentOf(value).bytes + 40, file.size()) << object;
    EXPECT_EQ(plist::parse(file), value) << object;
    EXPECT_EQ(plist::parse(file)->kind(), value.kind()) << object;
  }
}

TEST(PropertyList, ReadsFormsThatItDoesNotWrite) {
  const Scalar forms[] = {
      {1.5, "223fc00000"},                                   // four-byte real
      {-2, "14fffffffffffffffffffffffffffffffe"},            // negative in sixteen bytes
      {7, "130000000000000007"},                             // wider than needed
      {"hi", "5f12000000026869"},                            // count wider than needed
      {ValueTree::dictionary({{"CF$UID", 300}}), "81012c"},  // a UID by itself
  };
  for (const auto& [value, object] : forms) {
    EXPECT_EQ(plist::parse(bytesOfHex(oneObject(object))), value) << object;
  }
  EXPECT_EQ(plist::parse(PlistFile().addReferences({1, 2}, 0xC0).add("\x09").add("\x51x").finish()),
            ValueTree::list({true, "x"}))
      << "a set";
}

TEST(PropertyList, KeepsManyValuesOverWritingAndReadingAndWritesEqualStringsOnce) {
  const std::string text(1'000'000, 'x');
  ValueTree many = ValueTree::list({text, text, text});
  for (int i = 0; i < 70'000; ++i) many.append(i % 3 == 0 ? ValueTree(i) : ValueTree(std::to_string(i)));
  const ValueTree tree = ValueTree::dictionary({{"many", many}, {"", ValueTree::dictionary()}});
  const auto written = plist::write(tree);
  EXPECT_EQ(plist::parse(*written), tree);
  EXPECT_GE(plist::extentOf(tree).bytes + 40, written->size());
  EXPECT_LT(written->size(), 2'500'000u);
}

TEST(PropertyList, RefusesToWriteWhatItCannotHold) {
  ValueTree deep = ValueTree::list();
  for (int level = 1; level < 512; ++level) deep = ValueTree::list({deep});
  EXPECT_TRUE(plist::write(deep));
  EXPECT_FALSE(plist::write(ValueTree::list({deep}))) << "513 levels";

  ValueTree wide = ValueTree::list({1, 1});
  for (int doubling = 0; doubling < 40; ++doubling) wide = ValueTree::list({wide, wide});
  EXPECT_FALSE(plist::write(wide)) << "too many values";

  EXPECT_FALSE(plist::write(nullptr));
  EXPECT_FALSE(plist::write(ValueTree::dictionary({{"inside", nullptr}})));
  EXPECT_FALSE(plist::write("\xff"));
  EXPECT_FALSE(plist::write(ValueTree::dictionary({{"\xed\xa0\x80", 1}}))) << "a surrogate in UTF-8";
}

TEST(PropertyList, RefusesMalformedObjects) {
  const std::pair<const char*, const char*> objects[] = {
      {"no such kinds", "00 0f 0a 7161 b0 e0 f0"},
      {"an integer of 32 bytes, 2^64, below int64, cut off",
       "15ffffffffffffffffffffffffffffffff 1400000000000000010000000000000000 "
       "14fffffffffffffffe0000000000000000 13000000"},
      {"a real of 2 bytes, a date of 4, a UID of 16", "213c00 323fc00000 8f00000000000000000000000000000001"},
      {"not ASCII; surrogates alone and the wrong way round", "5180 61d834 61dd1e 62dd1ed834"},
      {"shorter than its count, past everything, doubled, no integer, missing",
       "5568656c6c 5f137fffffffffffffff6161 6f13800000000000000061 5f090161 af"},
      {"references missing and out of range", "d1 a101"},
  };
  for (const auto& [why, list] : objects) {
    for (const std::string& object : words(list)) {
      EXPECT_FALSE(plist::parse(bytesOfHex(oneObject(object)))) << why << ": " << object;
    }
  }
}

TEST(PropertyList, RefusesDamagedFiles) {
  const Bytes sound = PlistFile().addReferences({1, 1}).add("\x51x").finish();
  ASSERT_TRUE(plist::parse(sound));
  for (std::size_t length = 0; length < sound.size(); ++length) {
    EXPECT_FALSE(plist::parse(Bytes::copyOf(sound.slice(0, length).text()))) << "cut to " << length;
  }
  // Position in the trailer, and a value that cannot be there.
  const std::pair<std::size_t, std::uint8_t> lies[] = {
      {6, 0}, {6, 9}, {7, 0}, {7, 9}, {8, 0xff}, {15, 0}, {15, 3}, {23, 2}, {24, 0xff}, {31, 8}, {31, 0xff}};
  for (const auto& [position, value] : lies) {
    std::vector<std::uint8_t> file(sound.begin(), sound.end());
    file[file.size() - 32 + position] = value;
    EXPECT_FALSE(plist::parse(Bytes(std::move(file)))) << position << " set to " << int{value};
  }
}

TEST(PropertyList, FollowsSharedReferencesOnlyAsFarAsTheBounds) {
  const auto doubling = [](std::uint32_t levels) {
    PlistFile file;
    for (std::uint32_t i = 1; i <= levels; ++i) file.addReferences({i, i});
    return file.add("\x09").finish();
  };
  EXPECT_EQ((*plist::parse(doubling(10)))[1][0][1][0][1][0][1][0][1][0], ValueTree(true));
  EXPECT_FALSE(plist::parse(doubling(22)));
  EXPECT_FALSE(plist::parse(doubling(500)));
}

TEST(PropertyList, CountsLevelsOverSharedParts) {
  // A chain of 300 lists at the end of one of 212 is all that is allowed, also when the former is built
  // first.
  const auto chain = [](std::uint32_t above) {
    PlistFile file;
    file.addReferences({301, 1});
    for (std::uint32_t i = 1; i <= 300; ++i)
      file.addReferences(i == 300 ? std::vector<std::uint32_t>{} : std::vector{i + 1});
    // The second way to the chain, through `above` more lists.
    for (std::uint32_t i = 1; i <= above; ++i) file.addReferences({i == above ? 1 : 301 + i});
    return file.finish();
  };
  EXPECT_TRUE(plist::parse(chain(211)));
  EXPECT_FALSE(plist::parse(chain(212)));
  EXPECT_FALSE(plist::parse(chain(200'000)));
}

TEST(PropertyList, RefusesObjectsLaidOverOneAnother) {
  // A thousand strings of 64 KiB that are all the same bytes.
  PlistFile file;
  std::string list = "\xAF\x11\x03\xE8";
  for (int i = 1; i <= 1000; ++i) list += {'\0', '\0', static_cast<char>(i >> 8), static_cast<char>(i)};
  file.add(list);
  const std::size_t place = file.end();
  file.add(std::string("\x5F\x12\x00\x01\x00\x00", 6) + std::string(65536, 'a'));
  for (int i = 1; i < 1000; ++i) file.addOffset(place);
  EXPECT_FALSE(plist::parse(file.finish()));
}

std::string xmlOf(std::string_view value) { return "<plist>" + std::string(value) + "</plist>"; }

TEST(PropertyList, TellsWhyThereIsNoValue) {
  const auto xml = [](std::string_view inside) {
    return Bytes::copyOf("<plist>\n  " + std::string(inside) + "</plist>");
  };
  const struct {
    Bytes contents;
    const char* reason;
  } cases[] = {
      {Bytes::copyOf("{}"), "neither \"bplist00\" nor XML stands at the start"},
      {Bytes::copyOf("bplist00"), "cut off"},
      {PlistFile().addReferences({0}).finish(), "object 0 holds itself"},
      {PlistFile().addReferences({1}).addReferences({2}).addReferences({1}).finish(),
       "object 1 holds itself"},
      {PlistFile().addReferences({1}).add("\x70").finish(), "object 1 is damaged"},
      {PlistFile().addReferences({7}).finish(), "an object is referred to that is not there"},
      {PlistFile().addReferences({1, 1}, 0xD0, 1).add("\x09").finish(), "object 1 is a key, but no string"},
      {xml("<dict><integer>1</integer></dict>"), "line 2, column 9: expected a <key>"},
      {xml("<array>\n<date>today</date></array>"),
       "line 3, column 1: expected a value that a property list can hold"},
      {xml("<array></dict>"), "line 2, column 10: expected </array>"},
      {xml("<string>&me;</string>"),
       "line 2, column 3: expected text without other entities up to the next tag"},
      {xml("<true/><false/>"), "line 2, column 10: expected </plist>"},
      {Bytes::copyOf("<plist>\xff</plist>"), "byte 7: not valid text in this encoding"},
  };
  for (const auto& [contents, reason] : cases) {
    const auto value = plist::parse(contents);
    EXPECT_EQ(value ? "none" : value.error().description(), reason);
  }
  const auto written = plist::write(ValueTree::dictionary({{"a", ValueTree::list({1, nullptr})}}));
  EXPECT_EQ(written.error().description(), "/a/1: null has no form in a property list");
  EXPECT_EQ(written.error().code, plist::kNotWritable);
  EXPECT_EQ(plist::write(Bytes(std::vector<std::uint8_t>(plist::kMaxContents))).error().code,
            plist::kPastBounds);
}

TEST(PropertyList, ReadsXmlInFormsThatPeopleWrite) {
  const std::pair<std::string_view, ValueTree> forms[] = {
      {"<string>a<!-- & --> &lt;&#65;&#x1F600;&#x10000;<![CDATA[<b>&amp;]]></string>",
       "a <A😀\U00010000<b>&amp;"},
      {"<string>1\r\n2\r3</string>", "1\n2\n3"},
      {"<string/>", ""},
      {" <!-- - -- > --> <integer> +7\n</integer> ", 7},
      {"<integer>-9223372036854775808</integer>", std::numeric_limits<std::int64_t>::min()},
      {"<real> +1e2\n</real>", 100.0},
      {"<real>-inf</real>", -std::numeric_limits<double>::infinity()},
      {"<true></true >", true},
      {"<data>\n AP\t8= </data>", Bytes(std::vector<std::uint8_t>{0x00, 0xff})},
      {"<date>1969-12-31T23:59:59Z</date>", Date{-1}},
      {"<dict a='>'><key>k</key><array/><key>k</key><dict/></dict>",
       ValueTree::dictionary({{"k", ValueTree::dictionary()}})}};
  for (const auto& [form, value] : forms) {
    EXPECT_EQ(plist::parse(Bytes::copyOf(xmlOf(form))), value) << form;
  }
  std::string wide("\xFF\xFE");
  for (const char c : "<?xml version='1.0' encoding='utf-16'?>" + xmlOf("<string>x</string>")) wide += {c, 0};
  EXPECT_EQ(plist::parse(Bytes::copyOf(wide)), ValueTree("x")) << "UTF-16";
}

TEST(PropertyList, RefusesXmlThatIsNone) {
  // Contents of a tag, each between white space.
  const std::pair<std::string, const char*> contents[] = {
      {"true", "x <true/>"},
      {"array", "</dict> <string>a</array> <key>k</key> <null/> text &#32;"},
      {"dict", "<true/> <key>k</key> <key>k</key><key>l</key><true/>"},
      {"string", "&own; &#0; &#xD800; &#x110000; &#99999999999; &#; &amp & <![CDATA[x <!--x <!- \xff"},
      {"integer", "1.5 18446744073709551616 -9223372036854775809 --1"},
      {"real", "one 1e &#32;"},
      {"date", "2023-02-29T00:00:00Z 2024-02-29T24:00:00Z 2024-02-29 2024-02-29T00:00:00"},
      {"data", "A AP8 A=== AP=8 A*=="}};
  std::vector<std::string> documents = words(
      "<true/> <plist> <plist/> </plist> <plist><true/> <plist></array></plist> <plist><key>k</key></plist> "
      "<plist><integer/></plist> <plist><real/></plist> <plist><true/></plist>x <plist><array> <plist><a b "
      "<!--");
  for (const auto& [tag, list] : contents) {
    for (const std::string& inside : words(list)) {
      documents.push_back(xmlOf("<" + tag + ">" + inside + "</" + tag + ">"));
    }
  }
  for (const char* const start : {"<?xml encoding='latin-1'?>", "<!DOCTYPE plist [<!ENTITY own 'x'>]>"}) {
    documents.push_back(start + xmlOf("<true/>"));
  }
  for (const std::string& document : documents) {
    EXPECT_FALSE(plist::parse(Bytes::copyOf(document))) << document;
  }
  const auto nested = [](int levels) {
    std::string text;
    for (int i = 0; i < levels; ++i) text = "<array>" + text + "</array>";
    return Bytes::copyOf(xmlOf(text));
  };
  EXPECT_TRUE(plist::parse(nested(512)));
  EXPECT_FALSE(plist::parse(nested(513)));
}

}  // namespace
}  // namespace vantrel
