#include "vantrel/codec/KWTools.h"

#include <gmock/gmock.h>

#include <limits>
#include <memory>
#include <sstream>

#include "tests/support/ScopedHost.h"
#include "tests/support/ScratchFolder.h"

namespace vantrel::tests {
namespace {

using testing::Optional;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

Bytes fromHex(std::string_view hex) { return KWTools::HexToData(hex); }

TEST(AlignmentLength, PadsWithZerosToTheNextMultiple) {
  const auto aligned = [](std::string_view hex, std::int64_t length) {
    return KWTools::dataToHex(KWTools::alignment_length(fromHex(hex), length));
  };
  EXPECT_EQ(aligned("", 16), "");
  EXPECT_EQ(aligned("0102", 1), "0102");
  EXPECT_EQ(aligned("0102", 2), "0102");
  EXPECT_EQ(aligned("010203", 2), "01020300");
  EXPECT_EQ(aligned("01", 5), "0100000000");
  for (const std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, kLeast})
    EXPECT_EQ(aligned("010203", length), "010203") << "no length at all";
  EXPECT_EQ(KWTools::alignment_length(std::nullopt, 16), std::nullopt);
  EXPECT_EQ(KWTools::alignment_length(fromHex("01"), kMost), std::nullopt) << "no memory holds it";
}

TEST(Integers, AreLittleEndianUnlessAskedOtherwise) {
  EXPECT_EQ(KWTools::uInt32_data(0x12345678), fromHex("78563412"));
  EXPECT_EQ(KWTools::uInt32_data_Endian(0x12345678, false), fromHex("78563412"));
  EXPECT_EQ(KWTools::uInt32_data_Endian(0x12345678, true), fromHex("12345678"));
  EXPECT_EQ(KWTools::uInt16_data(0x1234), fromHex("3412"));
  EXPECT_EQ(KWTools::uInt16_data_Endian(0x0102, false), fromHex("0201"));
  EXPECT_EQ(KWTools::uInt16_data_Endian(0x0102, true), fromHex("0102"));
  EXPECT_EQ(KWTools::uInt8_data(0xFF), fromHex("ff"));
  EXPECT_EQ(KWTools::changeBigOrSmall(fromHex("010203")), fromHex("030201"));
  EXPECT_TRUE(KWTools::changeBigOrSmall(Bytes()).empty());
  EXPECT_TRUE(KWTools::changeBigOrSmall(std::nullopt).empty());
}

// The rounded ones come from python: fold digit * 16.0 ** k from the front, then int(), capped.
TEST(DataToInt, ReadsBigEndianThroughADouble) {
  const std::pair<std::string, std::int64_t> cases[] = {
      {"", 0},
      {"00", 0},
      {"0100", 256},
      {"ffffffffffff", 281474976710655},
      {"1fffffffffffff", 9007199254740991},
      {"20000000000001", 9007199254740992},
      {"20000000000003", 9007199254740996},
      {"123456789abcdeff", 1311768467463790336},
      {"3fffffffffffffff", 4611686018427387904},
      {"7ffffffffffffc00", 9223372036854774784},
      {"7fffffffffffffff", kMost},
      {"8000000000000000", kMost},
      {"010000000000000000", kMost},
      {"000000000000000000000102", 258},
      {std::string(10'000, '0') + "09", 9},
      {"01" + std::string(10'000, '0'), kMost},
  };
  for (const auto& [hex, value] : cases) EXPECT_EQ(KWTools::dataToInt(fromHex(hex)), value) << hex;
  EXPECT_EQ(KWTools::dataToInt(std::nullopt), 0);
}

TEST(StringToInt, ReadsOneDigitOrALeadingNumber) {
  std::istringstream table(
      "7 7 a 10 A 10 b 11 C 12 d 13 E 14 f 15 F 15 12 12 ff 0 g 0 x 0 +8 8 +-8 0 ! 0 "
      "2147483647 2147483647 2147483648 2147483647 -2147483648 -2147483648 -2147483649 -2147483648 "
      "99999999999999999999999999 2147483647 -99999999999999999999999999 -2147483648");
  int value = 0;
  for (std::string text; table >> text >> value;) EXPECT_EQ(KWTools::StringToInt(text), value) << text;
  EXPECT_EQ(value, std::numeric_limits<int>::min()) << "the last of the table";
  EXPECT_EQ(KWTools::StringToInt(" 9"), 9);
  EXPECT_EQ(KWTools::StringToInt("\t\n-42abc"), -42);
  for (const TextArgument text : {TextArgument(""), TextArgument("- 8"), TextArgument(std::nullopt)})
    EXPECT_EQ(KWTools::StringToInt(text), 0);
}

TEST(GetNaturalNumber, IsTheLastByteSigned) {
  // Of a number past 2^63 it is the low byte of the largest integer.
  for (const auto& [hex, value] :
       {std::pair{"7f", 127}, {"80", -128}, {"ff", -1}, {"01fe", -2}, {"", 0}, {"111111111111111111", -1}})
    EXPECT_EQ(KWTools::getNaturalNumber(fromHex(hex)), value) << hex;
  EXPECT_EQ(KWTools::getNaturalNumber(std::nullopt), 0);
}

TEST(DataRL, CutsAtTheEndAndIsAbsentBehindIt) {
  const struct {
    std::int64_t R, L;
    std::optional<std::string_view> slice;
  } cases[] = {{2, 3, "030405"},
               {8, 5, "090a"},
               {0, 10, "0102030405060708090a"},
               {0, 0, ""},
               {10, 0, ""},
               {10, 1, std::nullopt},
               {12, 0, std::nullopt},
               {-1, 1, std::nullopt},
               {9, -1, "0a"},
               {1, kMost, "02030405060708090a"},
               {-5, 10, std::nullopt}};
  for (const auto& [R, L, slice] : cases) {
    const auto given = KWTools::data_R_L(fromHex("0102030405060708090a"), R, L);
    EXPECT_EQ(given, slice ? std::optional(fromHex(*slice)) : std::nullopt) << R << ' ' << L;
  }
  EXPECT_EQ(KWTools::data_R_L(std::nullopt, 0, 0), std::nullopt);
}

TEST(JoiningStrings, PutsThemOneAfterTheOther) {
  const std::vector<std::string> list = {"a", "", "bé", std::string(1, '\0'), "c"};
  EXPECT_EQ(KWTools::string(list), std::string("abé\0c", 6));
  EXPECT_EQ(KWTools::string(std::vector<std::string>()), "");
  EXPECT_EQ(KWTools::string(std::nullopt), "");
}

TEST(DecodingText, HasThreeFixedFormsThatTellEmptyFromInvalidAndAbsent) {
  for (const auto& [decode, hex] : {std::pair{&KWTools::stringANSI, "e4b8ad61"},
                                    {&KWTools::stringUnicode, "2d4e6100"},
                                    {&KWTools::stringGBK, "d6d061"}}) {
    EXPECT_THAT(decode(fromHex(hex)), Optional(std::string("中a")));
    EXPECT_THAT(decode(Bytes()), Optional(std::string()));
    EXPECT_EQ(decode(Bytes({0xFF})), std::nullopt);
    EXPECT_EQ(decode(std::nullopt), std::nullopt);
  }
  EXPECT_THAT(KWTools::string_Encode(Bytes({0x96}), 12), Optional(std::string("–")));
}

TEST(JsonOperations, ReadWhatTheyWroteAndAreAbsentForTheRest) {
  const auto value = ValueTree::dictionary({{"a", ValueTree::list({1, 2})}, {"é", "text"}, {"n", nullptr}});
  const auto list = ValueTree::list({true, 1.5, "x"});
  for (const auto& [text, tree] :
       {std::pair{KWTools::dictionaryToJson(value), value},
        {KWTools::dictionaryToJson(ValueTree::dictionary()), ValueTree::dictionary()},
        {KWTools::arrayToJson(list), list}}) {
    ASSERT_TRUE(text);
    EXPECT_THAT(KWTools::jsonWithData(Bytes::copyOf(*text)), Optional(tree));
  }
  EXPECT_GT(std::ranges::count(*KWTools::dictionaryToJson(value), '\n'), 4) << "one member a line";

  for (const auto& data : {std::optional(Bytes::copyOf("abc")), {Bytes()}, {}})
    EXPECT_EQ(KWTools::jsonWithData(data), std::nullopt);
  for (const auto& tree : {std::optional<ValueTree>(), {list}, {ValueTree::dictionary({{"d", Bytes({1})}})}})
    EXPECT_EQ(KWTools::dictionaryToJson(tree), std::nullopt);
  EXPECT_EQ(KWTools::arrayToJson(std::nullopt), std::nullopt);
  EXPECT_EQ(KWTools::arrayToJson(value), std::nullopt);
}

TEST(ArchiveOperations, GiveBackTheDictionary) {
  const auto value = ValueTree::dictionary({{"text", "é"}, {"list", ValueTree::list({1, -2, 0.5, false})}});
  const auto archive = KWTools::makeDataByDictionary(value);
  ASSERT_TRUE(archive);
  EXPECT_NE(archive->text().find("Some Key Value"), std::string_view::npos);
  EXPECT_THAT(KWTools::makeDictionaryByData(archive), Optional(value));
  for (const auto& data :
       {KWTools::makeDataByDictionary(std::nullopt), {Bytes::copyOf("bplist00")}, {Bytes()}, {}})
    EXPECT_EQ(KWTools::makeDictionaryByData(data), std::nullopt);
}

TEST(SettingsOperations, StoreReadAndRemoveInTheHostsStore) {
  const ScratchFolder folder;
  Host host;
  host.settings = std::make_shared<SettingsStore>(folder.at("settings.plist"));
  const ScopedHost installed(host);
  KWTools::setUser_forKey(5, "count");
  KWTools::setUser_forKey("zh-Hans", "language");
  EXPECT_THAT(KWTools::getUserByKey("count"), Optional(ValueTree(5)));
  EXPECT_EQ(host.settings->objectForKey("language"), ValueTree("zh-Hans"));
  KWTools::removeUserByKey("count");
  EXPECT_EQ(KWTools::getUserByKey("count"), std::nullopt);
  EXPECT_THAT(KWTools::getUserByKey("language"), Optional(ValueTree("zh-Hans")));
  KWTools::setUser_forKey(std::nullopt, "language");
  EXPECT_EQ(KWTools::getUserByKey("language"), std::nullopt) << "an absent value removes the entry";
  KWTools::setUser_forKey("x", std::nullopt);
  KWTools::removeUserByKey(std::nullopt);
  EXPECT_EQ(KWTools::getUserByKey(std::nullopt), std::nullopt);
  EXPECT_EQ(host.settings->all().size(), 0U);
}

}  // namespace
}  // namespace vantrel::tests
