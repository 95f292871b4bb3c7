#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "vantrel/net/KWHttp.h"

namespace vantrel {
namespace {

using ::testing::Optional;

// Made with python: urllib.parse.quote(text, safe="!$&'()*+,-./:;=?@_~").
TEST(EncodeURL, EncodesWhatAQueryMayNotHold) {
  struct Case {
    std::string_view text;
    std::string_view encoded;
  };
  const Case cases[] = {
      {std::string_view("a b?x=1&y=\xC3\xA9", 12), "a%20b?x=1&y=%C3%A9"},
      {std::string_view("50%", 3), "50%25"},
      {std::string_view("http://h:8080/p/q.mp3", 21), "http://h:8080/p/q.mp3"},
      {std::string_view("a%20b", 5), "a%2520b"},
      {std::string_view("#frag[1]", 8), "%23frag%5B1%5D"},
      {std::string_view("{}|\\^`<>\"", 9), "%7B%7D%7C%5C%5E%60%3C%3E%22"},
      {std::string_view("\xE4\xB8\xAD\xE6\x96\x87 \xF0\x9F\x98\x80", 11),
       "%E4%B8%AD%E6%96%87%20%F0%9F%98%80"},
      {std::string_view("\x00\x1F\x7F", 3), "%00%1F%7F"},
      {std::string_view("!$&'()*+,-./:;=?@_~", 19), "!$&'()*+,-./:;=?@_~"},
      {std::string_view(
           "!\"#$%&'()*+,-./0123456789:;<=>?@ABCDEFGHIJKLMNOPQRSTUVWXYZ[\\]^_`abcdefghijklmnopqrstuvwxyz{|}~",
           94),
       "!%22%23$%25&'()*+,-./"
       "0123456789:;%3C=%3E?@ABCDEFGHIJKLMNOPQRSTUVWXYZ%5B%5C%5D%5E_%60abcdefghijklmnopqrstuvwxyz%7B%7C%7D~"},
      {std::string_view("", 0), ""},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(KWHttp::encodeURL(c.text), c.encoded);
    EXPECT_THAT(KWHttp::decodeURL(c.encoded), Optional(std::string(c.text)));
  }
}

TEST(EncodeURL, KeepsExactlyTheAllowedCharacters) {
  const std::string_view allowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!$&'()*+,-./:;=?@_~";
  for (int c = 0; c < 128; ++c) {
    const std::string text(1, static_cast<char>(c));
    const bool stays = allowed.find(text) != std::string_view::npos;
    EXPECT_EQ(KWHttp::encodeURL(text).size(), stays ? 1U : 3U) << c;
  }
}

TEST(EncodeURL, EncodesASecondTime) { EXPECT_EQ(KWHttp::encodeURL(KWHttp::encodeURL("a b")), "a%2520b"); }

TEST(DecodeURL, UndoesPercentEncodingOnly) {
  EXPECT_THAT(KWHttp::decodeURL("a+b%2Bc%c3%A9"), Optional(std::string("a+b+cé")));
  EXPECT_THAT(KWHttp::decodeURL("é 中"), Optional(std::string("é 中")));
  EXPECT_THAT(KWHttp::decodeURL("%00"), Optional(std::string(1, '\0')));
  EXPECT_THAT(KWHttp::decodeURL(""), Optional(std::string()));
}

TEST(DecodeURL, IsAbsentForBrokenSequencesAndBrokenText) {
  for (std::string_view text : {"%", "%4", "a%", "%G1", "%1G", "%-1", "%+1", "% 1", "%%", "%0x", "50% off",
                                "%FF", "%C3", "%C3%28", "%E4%B8", "%ED%A0%80", "%C0%AF", "%F4%90%80%80"}) {
    EXPECT_EQ(KWHttp::decodeURL(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace vantrel
