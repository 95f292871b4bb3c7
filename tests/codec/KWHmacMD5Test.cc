#include "vantrel/codec/KWHmacMD5.h"

#include <gtest/gtest.h>

#include <string>

namespace vantrel {
namespace {

using std::string_literals::operator""s;

// RFC 1321, A.5.
TEST(Md5, GivesThePublishedAnswersInUppercase) {
  struct Case {
    std::string_view text, digest;
  };
  const Case cases[] = {
      {"", "D41D8CD98F00B204E9800998ECF8427E"},
      {"a", "0CC175B9C0F1B6A831C399E269772661"},
      {"abc", "900150983CD24FB0D6963F7D28E17F72"},
      {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
      {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
      {"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789", "D174AB98D277D9F5A5611C2C9F419D9F"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57EDF4A22BE3C955AC49DA2E2107B67A"},
  };
  for (const Case& c : cases) EXPECT_EQ(KWHmacMD5::HmacMD5String(c.text), c.digest) << c.text;
}

// From Python's hashlib.
TEST(Md5, TakesAnyLength) {
  struct Case {
    std::size_t length;
    std::string_view digest;
  };
  const Case cases[] = {
      {1, "FBADE9E36A3F36D3D676C1B808451DD7"},    {55, "B687791F373F9A09B6F18A1D845AECBF"},
      {56, "FA2CAE340242B29BD7DED21C7BC11DA1"},   {63, "CAC9376765157678C96C250AEE8FFB87"},
      {64, "3ECC49F9D9D6C263B4F0DE7FC3F38AED"},   {65, "2923DD566A757405460E90FB77082A23"},
      {119, "CAF43EE6C9DEFAECCFC1D7C24647646E"},  {120, "3EF532159716ECFB9117F56F4EAD4FB6"},
      {4095, "06CB055CD1597C36A3CA8B20B71FF3CE"}, {4096, "BE91585259BC37BF4DC1651936E90B3E"},
      {4097, "9EF86E05A585BD7DA4353679E7CBDF27"}, {1000003, "D06CB2D1AEED7D81AE449ABCDADAF639"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(KWHmacMD5::HmacMD5String(std::string(c.length, 'z')), c.digest) << c.length;
}

TEST(Md5, TakesTheBytesOfTheTextAsTheyAre) {
  EXPECT_EQ(KWHmacMD5::HmacMD5String("grün 中文"), "AC8B17FA500CD375C8EEB2F11D313960");
  EXPECT_EQ(KWHmacMD5::HmacMD5String("\xFF\xFE\x80"), "45A6EEDA47EB0845D0095F2F0576E2F7") << "not UTF-8";
}

TEST(Md5, EndsAtTheFirstZeroByte) {
  EXPECT_EQ(KWHmacMD5::HmacMD5String("abc\0def"s), "900150983CD24FB0D6963F7D28E17F72");
  EXPECT_EQ(KWHmacMD5::HmacMD5String("\0abc"s), "D41D8CD98F00B204E9800998ECF8427E");
  const std::string text(20000, 'z');
  for (std::size_t end : {63U, 64U, 4095U, 4096U, 4097U, 12289U, 19999U}) {
    std::string cut = text;
    cut[end] = '\0';
    EXPECT_EQ(KWHmacMD5::HmacMD5String(cut), KWHmacMD5::HmacMD5String(text.substr(0, end))) << end;
  }
}

std::string counting(char first, char last) {
  std::string text;
  for (char c = first; c <= last; ++c) text += c;
  return text;
}

// RFC 2202, section 2; the first three are also those of RFC 2104.
TEST(HmacMd5, GivesThePublishedAnswersInLowercase) {
  struct Case {
    std::string key, text;
    std::string_view digest;
  };
  const Case cases[] = {
      {std::string(16, '\x0b'), "Hi There", "9294727a3638bb1c13f48ef8158bfc9d"},
      {"Jefe", "what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738"},
      {std::string(16, '\xaa'), std::string(50, '\xdd'), "56be34521d144c88dbb8c733f0e8b3f6"},
      {counting('\x01', '\x19'), std::string(50, '\xcd'), "697eaf0aca3a3aea3a75164746ffaa79"},
      {std::string(16, '\x0c'), "Test With Truncation", "56461ef2342edc00f9bab995690efd4c"},
      {std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First",
       "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd"},
      {std::string(80, '\xaa'), "Test Using Larger Than Block-Size Key and Larger Than One Block-Size Data",
       "6f630fad67cda0ee1fb1f562db3aa53e"},
  };
  for (const Case& c : cases) EXPECT_EQ(KWHmacMD5::HmacMD5String_Key(c.text, c.key), c.digest) << c.text;
}

// From Python's hmac.
TEST(HmacMd5, TakesKeysUpToABlockAsTheyAreAndDigestsLongerOnes) {
  struct Case {
    std::size_t length;
    std::string_view digest;
  };
  const Case cases[] = {
      {0, "b32797ea4b4b90a5d6fe744b33b97632"},  {1, "830e89d40ff8cacbb791807541e5b78e"},
      {63, "9ab9697666031c496b61b68b53701e17"}, {64, "5b3e99b172f3c3b5aed9a324c65ba911"},
      {65, "dc23d5d92d6f1feb3502b61d7102376b"}, {200, "c6be3eaf61d897caebd4ab3c6424c8f9"},
  };
  for (const Case& c : cases)
    EXPECT_EQ(KWHmacMD5::HmacMD5String_Key("message", std::string(c.length, 'k')), c.digest) << c.length;
  EXPECT_EQ(KWHmacMD5::HmacMD5String_Key("", ""), "74e6f7298a9c2d168935f58c001bad88");
}

TEST(HmacMd5, EndsTextAndKeyAtTheFirstZeroByte) {
  constexpr std::string_view kDigest = "750c783e6ab0b503eaa86e310a5db738";
  EXPECT_EQ(KWHmacMD5::HmacMD5String_Key("what do ya want for nothing?\0more"s, "Jefe"), kDigest);
  EXPECT_EQ(KWHmacMD5::HmacMD5String_Key("what do ya want for nothing?", "Jefe\0"s + std::string(80, 'x')),
            kDigest);
}

}  // namespace
}  // namespace vantrel
