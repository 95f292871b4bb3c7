#include "vantrel/codec/KWHmacMD5.h"

#include <gtest/gtest.h>

#include <numeric>
#include <string>

namespace vantrel {
namespace {

using std::string_literals::operator""s;

struct Case {
  std::string text, digest;
  std::optional<std::string> key = std::nullopt;
};

template <std::size_t kCount>
void check(const Case (&cases)[kCount]) {
  for (const auto& [text, digest, key] : cases) {
    EXPECT_EQ(key ? KWHmacMD5::HmacMD5String_Key(text, *key) : KWHmacMD5::HmacMD5String(text), digest)
        << text.substr(0, 80) << " with key " << key.value_or("(none)");
  }
}

// RFC 1321, A.5.
TEST(Md5, GivesThePublishedAnswersInUppercase) {
  check({
      {"", "D41D8CD98F00B204E9800998ECF8427E"},
      {"a", "0CC175B9C0F1B6A831C399E269772661"},
      {"abc", "900150983CD24FB0D6963F7D28E17F72"},
      {"message digest", "F96B697D7CB7938D525A2F31AAF161D0"},
      {"abcdefghijklmnopqrstuvwxyz", "C3FCD3D76192E4007DFB496CCA67E13B"},
      {"12345678901234567890123456789012345678901234567890123456789012345678901234567890",
       "57EDF4A22BE3C955AC49DA2E2107B67A"},
      // From Python's hashlib: bytes that are not UTF-8, and a long text.
      {"\xFF\xFE\x80", "45A6EEDA47EB0845D0095F2F0576E2F7"},
      {std::string(1'000'003, 'z'), "D06CB2D1AEED7D81AE449ABCDADAF639"},
  });
}

// RFC 2202, section 2; the first three are also those of RFC 2104.
TEST(HmacMd5, GivesThePublishedAnswersInLowercase) {
  std::string counting(25, '\0');
  std::iota(counting.begin(), counting.end(), '\1');
  check({
      {"Hi There", "9294727a3638bb1c13f48ef8158bfc9d", std::string(16, '\x0b')},
      {"what do ya want for nothing?", "750c783e6ab0b503eaa86e310a5db738", "Jefe"},
      {std::string(50, '\xdd'), "56be34521d144c88dbb8c733f0e8b3f6", std::string(16, '\xaa')},
      {std::string(50, '\xcd'), "697eaf0aca3a3aea3a75164746ffaa79", counting},
      {"Test Using Larger Than Block-Size Key - Hash Key First", "6b1ab7fe4bd7bf8f0b62e6ce61b9d0cd",
       std::string(80, '\xaa')},
      // From Python's hmac: no key, and those around the size of a block.
      {"", "74e6f7298a9c2d168935f58c001bad88", ""},
      {"message", "b32797ea4b4b90a5d6fe744b33b97632", ""},
      {"message", "5b3e99b172f3c3b5aed9a324c65ba911", std::string(64, 'k')},
      {"message", "dc23d5d92d6f1feb3502b61d7102376b", std::string(65, 'k')},
  });
}

TEST(HmacMd5, EndsTextAndKeyAtTheFirstZeroByte) {
  const std::string digest = "750c783e6ab0b503eaa86e310a5db738";
  check({{"what do ya want for nothing?\0more"s, digest, "Jefe"},
         {"what do ya want for nothing?", digest, "Jefe\0"s + std::string(80, 'x')}});
  const std::string text(20000, 'z');
  for (const std::size_t end : {0U, 63U, 64U, 4095U, 4096U, 4097U, 12289U, 19999U}) {
    std::string cut = text;
    cut[end] = '\0';
    check({{cut, KWHmacMD5::HmacMD5String(text.substr(0, end))}});
  }
}

}  // namespace
}  // namespace vantrel
