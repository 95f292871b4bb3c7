#include "vantrel/codec/Aes128.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/codec/checksums/AesBlocks.h"
#include "tests/support/EachTarget.h"
#include "tests/support/RandomBytes.h"

namespace vantrel::tests {
namespace {

constexpr AesBlock kKey = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
constexpr std::size_t kMost = 1600;

// The bytes lie in one buffer with as much room on both sides, to which the distance leads.
void agreesWithItsBlocks(Way way, std::size_t length, int distance) {
  auto buffer = randomBytes(3 * kMost), expected = buffer;
  const auto from = std::span(buffer).subspan(kMost, length);
  const auto to = std::span(buffer).subspan(kMost + static_cast<std::size_t>(distance));
  std::ranges::copy(blockByBlock(way, kKey, from), expected.begin() + kMost + distance);
  ASSERT_TRUE(way == Way::Encrypt ? aes128::encrypt(kKey, from, to) : aes128::decrypt(kKey, from, to));
  ASSERT_EQ(buffer, expected) << length << " bytes, " << distance << " further";
}

TEST(Aes128, TreatsBuffersAsTheirBlocksForEveryOverlap) {
  onEachTarget([] {
    for (const Way way : {Way::Encrypt, Way::Decrypt}) {
      for (std::size_t length = 0; length <= kMost; length += length < 160 ? 16 : 288) {
        for (const int distance : {0, -1, -16, -1600, 1, 15, 16, 17, 100, 639, 1600})
          agreesWithItsBlocks(way, length, distance);
      }
    }
  });
}

TEST(Aes128, RefusesPartsOfBlocksAndResultsThatDoNotFit) {
  const std::vector<std::uint8_t> from(33);
  std::vector<std::uint8_t> to(33, 7);
  const auto untouched = to;
  const std::span<const std::uint8_t> two = std::span(from).first(32);
  EXPECT_FALSE(aes128::encrypt(kKey, from, to));
  EXPECT_FALSE(aes128::decrypt(kKey, two.first(15), to));
  EXPECT_FALSE(aes128::encrypt(kKey, two, std::span(to).first(31)));
  EXPECT_EQ(to, untouched);
}

}  // namespace
}  // namespace vantrel::tests
