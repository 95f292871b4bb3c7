#include "vantrel/data/Json.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>
#include <string>

#include "tests/support/Exactly.h"
#include "tests/support/Words.h"

namespace vantrel {
namespace {

using namespace std::string_view_literals;
using Kind = ValueTree::Kind;
using tests::Exactly;
using tests::words;

std::string repeated(std::string_view text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) all += text;
  return all;
}

TEST(Json, ReadsEveryKindOfValueAndWritesOneMemberALine) {
  const auto value = ValueTree::dictionary({{"n", nullptr},
                                            {"t", true},
                                            {"f", false},
                                            {"i", -12},
                                            {"d", 2.0},
                                            {"s", "x"},
                                            {"l", ValueTree::list({1, ValueTree::list()})},
                                            {"o", ValueTree::dictionary({{"x", nullptr}})}});
  const std::string pretty =
      "{\n    \"n\": null,\n    \"t\": true,\n    \"f\": false,\n    \"i\": -12,\n    \"d\": 2.0,\n"
      "    \"s\": \"x\",\n    \"l\": [\n        1,\n        []\n    ],\n    \"o\": {\n        \"x\": null\n  "
      "  }\n}";
  const std::string compact =
      R"({"n":null,"t":true,"f":false,"i":-12,"d":2.0,"s":"x","l":[1,[]],"o":{"x":null}})";
  EXPECT_EQ(json::writePretty(value), pretty);
  EXPECT_EQ(json::writeCompact(value), compact);
  for (const std::string& text : {pretty, compact}) EXPECT_EQ(json::parse(" " + text + "\r\n\t"), value);
  EXPECT_EQ(json::writeCompact("q\" b\\ n\n c\x01 d\x1f e\x7f ä"), R"("q\" b\\ n\n c\u0001 d\u001f e)"
                                                                   "\x7f ä\"");
}

TEST(Json, KeepsEachNumberAsWhatItWasReadAs) {
  for (const char* const text : {"0", "9223372036854775807", "-9223372036854775808"}) {
    EXPECT_EQ(json::parse(text)->asInteger(), std::strtoll(text, nullptr, 10)) << text;
  }
  for (const char* const text : {"9223372036854775808", "10000000000000000000", "18446744073709551615"}) {
    EXPECT_EQ(json::parse(text)->asUnsigned(), std::strtoull(text, nullptr, 10)) << text;
  }
  std::vector<std::string> floating = words(R"(
      -0 -0.0 1.0 1e2 0.1 123456.789 18446744073709551616 -9223372036854775809 -10000000000000000000
      99999999999999999999 1234567890123456789.5 9007199254740993.0 9007199254740992e22 9007199254740993e22
      2.2250738585072011e-308 1.7976931348623157e308 5e-324 2.4703282292062327e-324 2.4703282292062328e-324
      1e-400 -0.0000001e-999999999999 0e400 -0.00E+99999999999999999999 0.000000000000000000000000000001
      1e-22 1E+22 1e0000000000000000000000000000000001)");
  floating.push_back(repeated("9", 400) + "e-200");
  floating.push_back("0." + repeated("0", 400) + "1e401");
  floating.push_back(repeated("9", 300) + "." + repeated("9", 300));
  for (const std::string& text : floating) {
    const auto value = json::parse(text);
    ASSERT_TRUE(value && value->kind() == Kind::Floating) << text;
    EXPECT_EQ(std::bit_cast<std::uint64_t>(*value->asDouble()),
              std::bit_cast<std::uint64_t>(std::strtod(text.c_str(), nullptr)))
        << text;
  }
}

TEST(Json, ReadsEscapesAndText) {
  const std::pair<std::string_view, std::string_view> cases[] = {
      {R"("")", ""},
      {R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
      {R"("\u00e4\u20AC")", "ä€"},
      {R"("\ud83d\ude00\ud800\udc00")", "\U0001F600\U00010000"},
      {R"("a\u0000b")", "a\0b"sv},
      {"\"ä€\U0001F600\x7f\"", "ä€\U0001F600\x7f"},
      {R"("fourteen bytes")", "fourteen bytes"},
      {R"("fifteen bytes..")", "fifteen bytes.."},
  };
  for (const auto& [text, expected] : cases) EXPECT_EQ(json::parse(text), ValueTree(expected)) << text;
}

TEST(Json, IsAbsentForWhatIsNoJson) {
  std::vector<std::string> cases = words(R"(
      abc {"a"} []x [ " 01 1. .5 +1 NaN Infinity n nul t tru falsy 1e400 1e 1e+ 00 1a 1e99999999999999999999
      //c "\ud800" "\ud800 "\ud800\ "\udc00" "\uDFFF")");
  for (const std::string bytes : {"\xc0\xaf", "\xf4\x90\x80\x80", "\xed\xa0\x80", "\xe2\x82", "\x80", "\n"}) {
    cases.push_back('"' + bytes + '"');
    cases.push_back('"' + bytes);
  }
  for (const std::string_view text : {" "sv, "[1 2]"sv, "[1]\0[2]"sv, "\"a\0b\""sv}) cases.emplace_back(text);
  cases.push_back(repeated("9", 400));
  for (const std::string& text : cases) {
    const auto value = json::parse(Exactly(text));
    EXPECT_EQ(value ? 0 : value.error().code, json::kNotJson) << text;
  }
}

TEST(Json, TellsWhereATextStopsBeingJsonAndWhatWasExpected) {
  const std::pair<std::string_view, const char*> cases[] = {
      {"", "line 1, column 1: expected a value, not the end of the text"},
      {"\xef\xbb\xbf 1", "line 1, column 1: expected a value, not a byte-order mark"},
      {"{\n  \"name\": ,\n}", "line 2, column 11: expected a value"},
      {"[1\r\n 2]", "line 2, column 2: expected \",\" or \"]\""},
      {"[+1]", "line 1, column 2: expected a value or \"]\""},
      {R"(["\ud800\udc00",])", "line 1, column 17: expected a value"},
      {"[{},[1,]]", "line 1, column 8: expected a value"},
      {"{\"é€😀\":nul}", "line 1, column 8: expected a value"},
      {"{\"a\":1", "line 1, column 7: expected \",\" or \"}\", not the end of the text"},
      {"{a:1}", "line 1, column 2: expected a string key or \"}\""},
      {"{\"a\":1,}", "line 1, column 8: expected a string key"},
      {"{\"a\" 1}", "line 1, column 6: expected \":\""},
      {"1 2", "line 1, column 3: expected the end of the text"},
      {"1\0"sv, "line 1, column 2: expected the end of the text"},
      {"-", "line 1, column 2: expected a digit, not the end of the text"},
      {"[-07]", "line 1, column 3: expected a number without leading zeros"},
      {"[1.e1]", "line 1, column 4: expected a digit"},
      {"[1, -1e309]", "line 1, column 5: expected a number that a double can hold"},
      {"\"a", "line 1, column 3: expected a closing quote, not the end of the text"},
      {"\"a\n\"", "line 1, column 3: expected an escape, not a control character itself"},
      {"\"\\x\"", "line 1, column 2: expected a known escape"},
      {"\"\\", "line 1, column 2: expected a known escape"},
      {"\"\\u12G4\"", "line 1, column 2: expected four hexadecimal digits"},
      {"\"\\u12", "line 1, column 2: expected four hexadecimal digits"},
      {"\"\\ud800\\u0041\"", "line 1, column 2: expected two escapes that form a surrogate pair"},
      {"\"a\xed\xa0\x80\"", "line 1, column 3: expected valid UTF-8"},
      {"\"\xe2\x82", "line 1, column 2: expected valid UTF-8"},
  };
  for (const auto& [text, reason] : cases) {
    const auto value = json::parse(Exactly(text));
    EXPECT_EQ(value ? "none" : value.error().description(), reason) << text;
  }
  const Error error = json::parse("[\n,").error();
  EXPECT_EQ(error.domain, json::kErrorDomain);
  EXPECT_EQ(error.info["line"], ValueTree(2));
  EXPECT_EQ(error.info["column"], ValueTree(1));
  EXPECT_EQ(json::parse(repeated("[", 600)).error().code, json::kTooDeep);
  EXPECT_EQ(json::parse("[1]", 10).error().code, json::kTooLarge);
}

TEST(Json, TellsWhichValueCannotBeWritten) {
  const ValueTree list = ValueTree::list({1, ValueTree::dictionary({{"a/b~c", Date{1}}})});
  const char* const kNoUtf8 = "text is not valid UTF-8";
  const std::pair<ValueTree, const char*> cases[] = {
      {std::nan(""), "NaN has no form in JSON"},
      {-std::numeric_limits<double>::infinity(), "an infinite number has no form in JSON"},
      {ValueTree::dictionary({{"x", ValueTree::list()}, {"list", list}}),
       "/list/1/a~1b~0c: a date has no form in JSON"},
      {ValueTree::list({ValueTree::list({1}), ValueTree::dictionary({{"k\xff", 1}})}),
       "/1/k\uFFFD: key is not valid UTF-8"},
      {ValueTree::list({"\xe2\x82", Bytes()}), "/0: text is not valid UTF-8"},
      {repeated("a", 4095) + "\xc3", kNoUtf8},
      {repeated("ä", 20) + "\x80" + repeated("a", 20), kNoUtf8},
      {"\xf0\x9f\x98", kNoUtf8},
      {"\xed\xa0\x80", kNoUtf8},
  };
  for (const auto& [value, reason] : cases) {
    EXPECT_EQ(json::writeCompact(value).error().description(), reason);
    EXPECT_EQ(json::writePretty(value).error().description(), reason);
  }
}

TEST(Json, PartsOfAnySizeOutliveAndNeverChangeTheirDocument) {
  for (const std::size_t size : {20, 65'535, 65'536, 70'000}) {
    ValueTree list = ValueTree::list();
    for (std::size_t i = 0; i < size; ++i) list.append(i);
    const auto value = ValueTree::dictionary({{"list", list}, {"text", std::string(size, 'x')}});
    std::optional<ValueTree> read = json::parse(*json::writeCompact(value));
    ASSERT_EQ(read, value) << size;
    ValueTree part = (*read)["list"];
    const ValueTree text = (*read)["text"];
    part.append(1);
    EXPECT_EQ(read, value);
    read.reset();
    part.append(2);
    list.append(1);
    list.append(2);
    EXPECT_EQ(part, list);
    EXPECT_EQ(text, value["text"]);
  }
}

TEST(Json, OfEqualKeysTheLastOneCounts) {
  EXPECT_EQ(json::writeCompact(*json::parse(R"({"a":1,"b":2,"a":3,"a":[4]})")), R"({"a":[4],"b":2})");
  EXPECT_EQ(json::writeCompact(*json::parse(R"([{"a":1,"b":2},{"a":3,"b":4},{"a":5,"a":6},{"a":7,"a":8}])")),
            R"([{"a":1,"b":2},{"a":3,"b":4},{"a":6},{"a":8}])");
  EXPECT_EQ(json::parse("{" + repeated("\"k\":1,", 100'000) + "\"k\":2}"), ValueTree::dictionary({{"k", 2}}));
}

TEST(Json, SetsFindsAndRemovesEachOfManyDistinctKeys) {
  // So many that looking at all of them for each, or moving what stands behind it, would take minutes.
  const int count = 100'000;
  const auto key = [](int i) { return "key" + std::to_string(i); };
  ValueTree built;
  for (int i = 0; i < count; ++i) built.set(key(i), i);
  auto value = json::parse(*json::writeCompact(built));
  ASSERT_EQ(value, built);
  for (int i = 0; i < count; i += 3) ASSERT_TRUE(value->remove(key(i)));
  for (int i = 0; i <= count; ++i) ASSERT_EQ(value->find(key(i)) == nullptr, i % 3 == 0 || i == count);
}

TEST(Json, TakesNestingUpToTheBoundInBothDirections) {
  const std::size_t bound = json::kMaxDepth;
  const auto deepest = json::parse(repeated("[", bound) + repeated("]", bound));
  ASSERT_TRUE(deepest);
  EXPECT_TRUE(json::writePretty(*deepest));
  EXPECT_EQ(json::writePretty(ValueTree::list({*deepest})).error().code, json::kTooDeep);
  EXPECT_FALSE(json::parse(repeated("[", bound + 1) + repeated("]", bound + 1)));
  EXPECT_FALSE(json::parse(repeated("[", 100'000) + repeated("]", 100'000)));
  EXPECT_FALSE(json::parse(repeated("{\"a\":", 100'000)));
  ValueTree tall;
  for (int i = 0; i < 100'000; ++i) tall = ValueTree::list({tall});
  EXPECT_FALSE(json::writeCompact(tall));
}

TEST(Json, WritesWhatIsLeftOfADictionary) {
  ValueTree value = *json::parse(R"({"list":[],"none":null})");
  for (int i = 0; i < 40; ++i) value.set("k" + std::to_string(i), i);
  for (const char* const key : {"list", "k3", "k4"}) value.remove(key);
  const auto text = json::writeCompact(value);
  EXPECT_TRUE(text->starts_with(R"({"none":null,"k0":0,"k1":1,"k2":2,"k5":5,)")) << *text;
  EXPECT_EQ(json::parse(*text), value);
  value.set("last", Date{1});
  EXPECT_EQ(json::writeCompact(value).error().info["path"], ValueTree("/last"));
}

TEST(Json, StringsSurviveARoundTripWhateverStandsWhereButControlCharactersThemselves) {
  for (char control = 0; control < 0x20; ++control) {
    for (std::size_t place = 0; place < 40; ++place) {
      EXPECT_FALSE(json::parse('"' + repeated("a", place) + control + repeated("b", 39 - place) + '"'));
    }
  }
  const char* const pieces[] = {"ä", "€", "\U0001F600", "\"", "\\", "\x01", "\x7f"};
  for (const std::string_view piece : pieces) {
    for (std::size_t before = 0; before < 40; ++before) {
      for (const std::size_t behind : {0, 1, 7, 8, 15, 16, 17}) {
        const std::string text = repeated("a", before) + std::string(piece) + repeated("b", behind);
        ASSERT_EQ(json::parse(*json::writeCompact(text)), ValueTree(text)) << text;
      }
    }
    const std::string only = repeated(piece, 5'000);
    EXPECT_EQ(json::parse(*json::writePretty(only)), ValueTree(only)) << piece;
  }
}

TEST(Json, WritesDoublesWithTheFewestDigitsAsDoubles) {
  const char* const kTexts =
      "0.0 -0.0 1.0 -2.5 0.1 0.30000000000000004 0.001 123456789.123456 999999999.999999 999999999.9999999 "
      "-14285.714286 100.000001 0.0012345 1e+22 5e-324";
  for (const std::string& text : words(kTexts)) {
    EXPECT_EQ(json::writeCompact(std::strtod(text.c_str(), nullptr)), text);
  }
}

TEST(Json, DoublesSurviveARoundTrip) {
  std::mt19937_64 random(1);
  for (int i = 0; i < 20'000; ++i) {
    // Beside any number decimal ones of few places, where the writer takes a shorter way.
    const double decimal =
        static_cast<double>(static_cast<std::int64_t>(random() % 2'000'000'000'000'000)) / 1e6;
    for (const double number : {decimal, -std::nextafter(decimal, 0.0), std::nextafter(decimal, 1e300),
                                std::bit_cast<double>(random())}) {
      if (!std::isfinite(number)) continue;
      const std::string text = *json::writeCompact(number);
      const auto back = json::parse(text);
      ASSERT_TRUE(back && back->kind() == Kind::Floating) << text;
      ASSERT_EQ(std::bit_cast<std::uint64_t>(*back->asDouble()), std::bit_cast<std::uint64_t>(number))
          << text;
      ASSERT_EQ(nlohmann::json::parse(text).get<double>(), number) << text;
    }
  }
}

/// A text that is valid more often than not: pieces of JSON, with an occasional byte changed.
std::string randomText(std::mt19937& random, int depth) {
  static const char* const scalars[] = {
      "1",     "-2.5e3",      "true",    "null", "\"\"", "\"k\"", "\"\\u00e9 and more than that\"",
      "1e308", "12345678901", "\"\\\"\""};
  const auto pick = [&](unsigned bound) { return random() % bound; };
  if (depth == 0 || pick(3) == 0) return scalars[pick(std::size(scalars))];
  const bool isDictionary = pick(2) == 0;
  std::string text = isDictionary ? "{" : "[";
  for (unsigned i = 0, count = pick(5); i < count; ++i) {
    if (i != 0) text += ", ";
    if (isDictionary) text += "\"k" + std::to_string(pick(4)) + "\" :";
    text += randomText(random, depth - 1);
  }
  text += isDictionary ? '}' : ']';
  if (pick(30) == 0) text[pick(static_cast<unsigned>(text.size()))] = "x,:\"0]}\\"[pick(8)];
  return text;
}

TEST(Json, AgreesWithAnotherImplementation) {
  std::mt19937 random(7);
  int accepted = 0;
  for (int i = 0; i < 5'000; ++i) {
    const std::string text = randomText(random, 4);
    const auto theirs = nlohmann::json::parse(text, nullptr, false);
    const auto ours = json::parse(text);
    ASSERT_EQ(ours.has_value(), !theirs.is_discarded()) << text;
    if (!ours) {
      ASSERT_EQ(ours.error().code, json::kNotJson) << text;
      continue;
    }
    ++accepted;
    ASSERT_EQ(nlohmann::json::parse(*json::writePretty(*ours)), theirs) << text;
    ASSERT_EQ(nlohmann::json::parse(*json::writeCompact(*ours)), theirs) << text;
  }
  EXPECT_GT(accepted, 1'000);
}

}  // namespace
}  // namespace vantrel
