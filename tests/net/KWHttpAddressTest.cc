#include <gmock/gmock.h>

#include <cstdio>

#include "tests/support/Exactly.h"
#include "vantrel/net/KWHttp.h"

namespace vantrel::tests {
namespace {

using namespace std::string_literals;
using testing::Optional;

// What stays is that of python's urllib.parse.quote(text, safe="!$&'()*+,-./:;=?@_~").
TEST(EncodeURL, KeepsExactlyTheAllowedCharacters) {
  const std::string_view allowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789!$&'()*+,-./:;=?@_~";
  for (unsigned c = 0; c < 128; ++c) {
    const std::string text(1, static_cast<char>(c));
    char encoded[4];
    std::snprintf(encoded, sizeof encoded, "%%%02X", c);
    EXPECT_EQ(KWHttp::encodeURL(text), allowed.find(text) == std::string_view::npos ? encoded : text);
    EXPECT_THAT(KWHttp::decodeURL(encoded), Optional(text));
  }
  const std::string text = "http://h:8080/p a?x=1%20&y=é中😀#frag[1]";
  const std::string encoded = "http://h:8080/p%20a?x=1%2520&y=%C3%A9%E4%B8%AD%F0%9F%98%80%23frag%5B1%5D";
  EXPECT_EQ(KWHttp::encodeURL(exactly(text)), encoded);
  EXPECT_THAT(KWHttp::decodeURL(exactly(encoded)), Optional(text));
}

TEST(DecodeURL, UndoesPercentEncodingOnly) {
  EXPECT_THAT(KWHttp::decodeURL("a+b%2Bc%c3%A9"), Optional("a+b+cé"s));
  EXPECT_THAT(KWHttp::decodeURL("é 中"), Optional("é 中"s));
  EXPECT_THAT(KWHttp::decodeURL(""), Optional(""s));
}

TEST(DecodeURL, IsAbsentForBrokenSequencesAndBrokenText) {
  for (std::string_view text : {"%", "%4", "a%", "%G1", "%1G", "%-1", "%+1", "% 1", "%%", "%0x", "50% off",
                                "%FF", "%C3", "%C3%28", "%E4%B8", "%ED%A0%80", "%C0%AF", "%F4%90%80%80"}) {
    EXPECT_EQ(KWHttp::decodeURL(exactly(text)), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace vantrel::tests
