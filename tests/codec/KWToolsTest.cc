#include "vantrel/codec/KWTools.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <memory>

#include "vantrel/host/Host.h"

namespace vantrel {
namespace {

using ::testing::Optional;

constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();

Bytes countingFrom1(std::size_t count) {
  std::vector<std::uint8_t> bytes(count);
  for (std::size_t i = 0; i < count; ++i) bytes[i] = static_cast<std::uint8_t>(i + 1);
  return Bytes(std::move(bytes));
}

TEST(AlignmentLength, PadsWithZerosToTheNextMultiple) {
  struct Case {
    std::size_t size;
    std::int64_t length;
    std::size_t aligned;
  };
  for (const auto& [size, length, aligned] :
       {Case{0, 16, 0}, Case{1, 16, 16}, Case{16, 16, 16}, Case{17, 16, 32}, Case{32, 16, 32}, Case{5, 1, 5},
        Case{5, 7, 7}, Case{7, 3, 9}}) {
    const Bytes data = countingFrom1(size);
    const auto result = KWTools::alignment_length(data, length);
    ASSERT_TRUE(result) << size;
    ASSERT_EQ(result->size(), aligned) << size;
    EXPECT_EQ(result->slice(0, size), data);
    EXPECT_EQ(result->slice(size, aligned), Bytes(std::vector<std::uint8_t>(aligned - size)));
  }
}

TEST(AlignmentLength, LeavesDataAloneForLengthsThatAreNoLength) {
  for (std::int64_t length : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_THAT(KWTools::alignment_length(countingFrom1(3), length), Optional(countingFrom1(3)));
  }
}

TEST(AlignmentLength, IsAbsentForAbsentDataAndForWhatNoMemoryHolds) {
  EXPECT_EQ(KWTools::alignment_length(std::nullopt, 16), std::nullopt);
  EXPECT_EQ(KWTools::alignment_length(countingFrom1(3), kMost), std::nullopt);
}

TEST(Integers, AreLittleEndianUnlessAskedOtherwise) {
  EXPECT_EQ(KWTools::uInt32_data(0x12345678), Bytes({0x78, 0x56, 0x34, 0x12}));
  EXPECT_EQ(KWTools::uInt32_data_Endian(0x12345678, false), Bytes({0x78, 0x56, 0x34, 0x12}));
  EXPECT_EQ(KWTools::uInt32_data_Endian(0x12345678, true), Bytes({0x12, 0x34, 0x56, 0x78}));
  EXPECT_EQ(KWTools::uInt16_data(0x1234), Bytes({0x34, 0x12}));
  EXPECT_EQ(KWTools::uInt16_data_Endian(0x0102, false), Bytes({0x02, 0x01}));
  EXPECT_EQ(KWTools::uInt16_data_Endian(0x0102, true), Bytes({0x01, 0x02}));
  EXPECT_EQ(KWTools::uInt8_data(0xFF), Bytes({0xFF}));
}

TEST(ChangeBigOrSmall, ReversesAnyLength) {
  EXPECT_EQ(KWTools::changeBigOrSmall(Bytes({1, 2, 3})), Bytes({3, 2, 1}));
  EXPECT_TRUE(KWTools::changeBigOrSmall(Bytes()).empty());
  EXPECT_TRUE(KWTools::changeBigOrSmall(std::nullopt).empty());
}

// The rounded ones come from python: fold digit * 16.0 ** k from the front, then int(), capped.
TEST(DataToInt, ReadsBigEndianThroughADouble) {
  struct Case {
    std::string_view hex;
    std::int64_t value;
  };
  const Case cases[] = {
      {"", 0},
      {"00", 0},
      {"0100", 256},
      {"ffffffff", 4294967295},
      {"ffffffffffff", 281474976710655},
      {"1fffffffffffff", 9007199254740991},
      {"20000000000001", 9007199254740992},
      {"20000000000003", 9007199254740996},
      {"123456789abcdeff", 1311768467463790336},
      {"3fffffffffffffff", 4611686018427387904},
      {"7ffffffffffffc00", 9223372036854774784},
      {"7fffffffffffffff", kMost},
      {"8000000000000000", kMost},
      {"ffffffffffffffff", kMost},
      {"010000000000000000", kMost},
      {"000000000000000000000102", 258},
  };
  for (const Case& c : cases) EXPECT_EQ(KWTools::dataToInt(KWTools::HexToData(c.hex)), c.value) << c.hex;
  EXPECT_EQ(KWTools::dataToInt(std::nullopt), 0);
}

TEST(DataToInt, TakesAnyLengthOfZerosAndDigits) {
  std::vector<std::uint8_t> bytes(5000);
  EXPECT_EQ(KWTools::dataToInt(Bytes(bytes)), 0);
  bytes.back() = 9;
  EXPECT_EQ(KWTools::dataToInt(Bytes(bytes)), 9);
  bytes.front() = 1;
  EXPECT_EQ(KWTools::dataToInt(Bytes(bytes)), kMost);
}

TEST(StringToInt, ReadsOneDigitOrALeadingNumber) {
  struct Case {
    std::string_view text;
    std::int32_t value;
  };
  const Case cases[] = {{"7", 7},
                        {"a", 10},
                        {"A", 10},
                        {"b", 11},
                        {"C", 12},
                        {"d", 13},
                        {"E", 14},
                        {"f", 15},
                        {"F", 15},
                        {"12", 12},
                        {"ff", 0},
                        {"g", 0},
                        {"x", 0},
                        {"", 0},
                        {" 9", 9},
                        {"\t\n-42abc", -42},
                        {"+8", 8},
                        {"+-8", 0},
                        {"- 8", 0},
                        {"!", 0},
                        {"2147483647", 2147483647},
                        {"2147483648", 2147483647},
                        {"-2147483648", std::numeric_limits<std::int32_t>::min()},
                        {"-2147483649", std::numeric_limits<std::int32_t>::min()},
                        {"99999999999999999999999999", 2147483647},
                        {"-99999999999999999999999999", std::numeric_limits<std::int32_t>::min()}};
  for (const Case& c : cases) EXPECT_EQ(KWTools::StringToInt(c.text), c.value) << c.text;
  EXPECT_EQ(KWTools::StringToInt(std::nullopt), 0);
}

TEST(GetNaturalNumber, IsTheLastByteSigned) {
  EXPECT_EQ(KWTools::getNaturalNumber(Bytes({0x7F})), 127);
  EXPECT_EQ(KWTools::getNaturalNumber(Bytes({0x80})), -128);
  EXPECT_EQ(KWTools::getNaturalNumber(Bytes({0xFF})), -1);
  EXPECT_EQ(KWTools::getNaturalNumber(Bytes({0x01, 0xFE})), -2);
  EXPECT_EQ(KWTools::getNaturalNumber(Bytes()), 0);
  EXPECT_EQ(KWTools::getNaturalNumber(std::nullopt), 0);
  // Of a number past 2^63 it is the low byte of the largest integer.
  EXPECT_EQ(KWTools::getNaturalNumber(Bytes(std::vector<std::uint8_t>(9, 0x11))), -1);
}

TEST(DataRL, CutsAtTheEndAndIsAbsentBehindIt) {
  struct Case {
    std::int64_t R, L;
    std::optional<Bytes> slice;
  };
  const Bytes ten = countingFrom1(10);
  const Case cases[] = {
      {2, 3, Bytes({3, 4, 5})},
      {8, 5, Bytes({9, 10})},
      {0, 10, ten},
      {0, 0, Bytes()},
      {10, 0, Bytes()},
      {10, 1, std::nullopt},
      {12, 0, std::nullopt},
      {-1, 1, std::nullopt},  // 2^64 - 1 + 1
      {9, -1, Bytes({10})},
      {1, kMost, Bytes({2, 3, 4, 5, 6, 7, 8, 9, 10})},
      {-5, 10, std::nullopt},
  };
  for (const Case& c : cases) EXPECT_EQ(KWTools::data_R_L(ten, c.R, c.L), c.slice) << c.R << ' ' << c.L;
  EXPECT_EQ(KWTools::data_R_L(std::nullopt, 0, 0), std::nullopt);
}

TEST(JoiningStrings, PutsThemOneAfterTheOther) {
  const std::vector<std::string> list = {"a", "", "bé", std::string(1, '\0'), "c"};
  EXPECT_EQ(KWTools::string(list), std::string("abé\0c", 6));
  EXPECT_EQ(KWTools::string({"x", "y"}), "xy");
  EXPECT_EQ(KWTools::string(std::vector<std::string>()), "");
  EXPECT_EQ(KWTools::string(std::nullopt), "");
}

TEST(DecodingText, HasThreeFixedForms) {
  EXPECT_THAT(KWTools::stringANSI(Bytes::copyOf("grün 中文")), Optional(std::string("grün 中文")));
  EXPECT_THAT(KWTools::stringUnicode(Bytes({0x2D, 0x4E, 0x61, 0x00})), Optional(std::string("中a")));
  EXPECT_THAT(KWTools::stringGBK(Bytes({0xD6, 0xD0, 0x61})), Optional(std::string("中a")));
  EXPECT_THAT(KWTools::string_Encode(Bytes({0x96}), 12), Optional(std::string("–")));
}

TEST(DecodingText, TellsEmptyFromInvalidAndAbsent) {
  for (auto decode : {&KWTools::stringANSI, &KWTools::stringUnicode, &KWTools::stringGBK}) {
    EXPECT_THAT(decode(Bytes()), Optional(std::string()));
    EXPECT_EQ(decode(Bytes({0xFF})), std::nullopt);
    EXPECT_EQ(decode(std::nullopt), std::nullopt);
  }
}

TEST(JsonOperations, ReadWhatTheyWrote) {
  const auto value = ValueTree::dictionary({{"a", ValueTree::list({1, 2})}, {"é", "text"}, {"n", nullptr}});
  const auto text = KWTools::dictionaryToJson(value);
  ASSERT_TRUE(text);
  EXPECT_THAT(KWTools::jsonWithData(Bytes::copyOf(*text)), Optional(value));
  EXPECT_GT(std::ranges::count(*text, '\n'), 4) << "one member a line";

  const auto empty = KWTools::dictionaryToJson(ValueTree::dictionary());
  ASSERT_TRUE(empty);
  EXPECT_THAT(KWTools::jsonWithData(Bytes::copyOf(*empty)), Optional(ValueTree::dictionary()));

  const auto list = KWTools::arrayToJson(ValueTree::list({true, 1.5, "x"}));
  ASSERT_TRUE(list);
  EXPECT_THAT(KWTools::jsonWithData(Bytes::copyOf(*list)), Optional(ValueTree::list({true, 1.5, "x"})));
}

TEST(JsonOperations, ReadTextFromElsewhere) {
  const auto tree = KWTools::jsonWithData(Bytes::copyOf(R"({"a":[1,2]})"));
  ASSERT_TRUE(tree);
  ASSERT_EQ((*tree)["a"].size(), 2U);
  EXPECT_EQ((*tree)["a"][1].asInteger(), 2);
}

TEST(JsonOperations, AreAbsentWhereNothingCanBeReadOrWritten) {
  EXPECT_EQ(KWTools::jsonWithData(Bytes::copyOf("abc")), std::nullopt);
  EXPECT_EQ(KWTools::jsonWithData(Bytes()), std::nullopt);
  EXPECT_EQ(KWTools::jsonWithData(std::nullopt), std::nullopt);
  EXPECT_EQ(KWTools::dictionaryToJson(std::nullopt), std::nullopt);
  EXPECT_EQ(KWTools::dictionaryToJson(ValueTree::list()), std::nullopt);
  EXPECT_EQ(KWTools::dictionaryToJson(ValueTree::dictionary({{"d", Bytes({1})}})), std::nullopt);
  EXPECT_EQ(KWTools::arrayToJson(std::nullopt), std::nullopt);
  EXPECT_EQ(KWTools::arrayToJson(ValueTree::dictionary()), std::nullopt);
}

TEST(ArchiveOperations, GiveBackTheDictionary) {
  const auto value = ValueTree::dictionary({{"text", "é"},
                                            {"data", Bytes({0, 255})},
                                            {"date", Date{1.5}},
                                            {"list", ValueTree::list({1, -2, 0.5, false})},
                                            {"inner", ValueTree::dictionary({{"k", "v"}})}});
  const auto archive = KWTools::makeDataByDictionary(value);
  ASSERT_TRUE(archive);
  EXPECT_NE(archive->text().find("Some Key Value"), std::string_view::npos);
  EXPECT_THAT(KWTools::makeDictionaryByData(archive), Optional(value));
}

TEST(ArchiveOperations, AreAbsentForNothingAndForOtherBytes) {
  EXPECT_EQ(KWTools::makeDictionaryByData(KWTools::makeDataByDictionary(std::nullopt)), std::nullopt);
  EXPECT_EQ(KWTools::makeDictionaryByData(Bytes::copyOf("bplist00")), std::nullopt);
  EXPECT_EQ(KWTools::makeDictionaryByData(Bytes()), std::nullopt);
  EXPECT_EQ(KWTools::makeDictionaryByData(std::nullopt), std::nullopt);
}

/// Settings in a folder of their own.
class SettingsOperations : public ::testing::Test {
 protected:
  void SetUp() override {
    char pattern[] = "/tmp/vantrel-codec-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    folder_ = pattern;
    Host host;
    host.settings = std::make_shared<SettingsStore>(folder_ / "settings.plist");
    earlier_ = Host::install(host);
  }

  void TearDown() override {
    Host::install(earlier_ ? *earlier_ : Host());
    std::filesystem::remove_all(folder_);
  }

 private:
  std::filesystem::path folder_;
  std::shared_ptr<const Host> earlier_;
};

TEST_F(SettingsOperations, StoreReadAndRemove) {
  KWTools::setUser_forKey(5, "count");
  KWTools::setUser_forKey("zh-Hans", "language");
  EXPECT_THAT(KWTools::getUserByKey("count"), Optional(ValueTree(5)));
  EXPECT_THAT(KWTools::getUserByKey("language"), Optional(ValueTree("zh-Hans")));
  EXPECT_EQ(Host::current().settings->objectForKey("count"), ValueTree(5)) << "in the host's store";
  KWTools::removeUserByKey("count");
  EXPECT_EQ(KWTools::getUserByKey("count"), std::nullopt);
  EXPECT_THAT(KWTools::getUserByKey("language"), Optional(ValueTree("zh-Hans")));
}

TEST_F(SettingsOperations, TakeAbsentArguments) {
  KWTools::setUser_forKey("x", "key");
  KWTools::setUser_forKey(std::nullopt, "key");
  EXPECT_EQ(KWTools::getUserByKey("key"), std::nullopt) << "an absent value removes the entry";
  KWTools::setUser_forKey("x", std::nullopt);
  KWTools::removeUserByKey(std::nullopt);
  EXPECT_EQ(KWTools::getUserByKey(std::nullopt), std::nullopt);
  EXPECT_EQ(Host::current().settings->all().size(), 0U);
}

}  // namespace
}  // namespace vantrel
