#include "vantrel/buffers/KWRing.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <limits>
#include <random>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace vantrel {
namespace {

std::uint32_t page() { return static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE)); }

class KWRingTest : public testing::Test {
 protected:
  ~KWRingTest() override { ring_.ringRelease(); }

  void expectWithoutMemory() {
    std::uint8_t byte = 0x5a;
    EXPECT_EQ(ring_.ringPut_Size(&byte, 1), 0U);
    EXPECT_EQ(ring_.ringGet_Size(&byte, 1), 0U);
    EXPECT_EQ(byte, 0x5a);
    EXPECT_EQ(ring_.ringUsable(), 0U);
    ring_.ringClean();
  }

  KWRing ring_;
};

static_assert(!std::is_copy_constructible_v<KWRing> && !std::is_copy_assignable_v<KWRing>);

TEST_F(KWRingTest, IsWithoutMemoryWhenNewAndWhenReleasedAndEmptyWhenMade) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(ring_.len_total(), 0);
    expectWithoutMemory();
    for (bool anew : {false, true}) {
      SCOPED_TRACE(anew ? "made anew without being released" : "made");
      ASSERT_TRUE(ring_.ringMakeSize(1000));
      EXPECT_EQ(ring_.len_total(), static_cast<std::int32_t>(page()));
      EXPECT_EQ(ring_.ringUsable(), page());
      EXPECT_EQ(ring_.ringPut_Size("abc", 3), 3U);
      char text[4] = "";
      EXPECT_EQ(ring_.ringGet_Size(text, 2), 2U);
      EXPECT_STREQ(text, "ab");
    }
    ring_.setLen_total(5);
    EXPECT_EQ(ring_.len_total(), 5);
    EXPECT_EQ(ring_.ringUsable(), page() - 1) << "nothing else has changed";
    ring_.ringRelease();
    ring_.ringRelease();
  }
}

TEST_F(KWRingTest, RefusesSizesThatCannotBeAndStaysAsItWas) {
  for (bool made : {false, true}) {
    if (made) {
      ASSERT_TRUE(ring_.ringMakeSize(1));
      ring_.ringPut_Size("abc", 3);
    }
    for (std::int32_t size :
         {0, -1, std::numeric_limits<std::int32_t>::min(), std::numeric_limits<std::int32_t>::max()}) {
      EXPECT_FALSE(ring_.ringMakeSize(size)) << size;
    }
    EXPECT_EQ(ring_.len_total(), made ? static_cast<std::int32_t>(page()) : 0);
    char text[4] = "";
    EXPECT_EQ(ring_.ringGet_Size(text, 3), made ? 3U : 0U);
    EXPECT_STREQ(text, made ? "abc" : "");
  }
}

TEST_F(KWRingTest, KeepsWhatItHasWhenTheSystemRefuses) {
  const auto size = static_cast<std::int32_t>(2 * page());
  for (const auto& [resource, reason] :
       {std::pair{RLIMIT_NOFILE, "Too many open files"}, {RLIMIT_FSIZE, "File too large"}}) {
    SCOPED_TRACE(reason);
    const std::uint32_t held = ring_.ringPut_Size("abc", 3);  // 0 in the first round: nothing made yet
    rlimit before{};
    ASSERT_EQ(getrlimit(resource, &before), 0);
    const rlimit none{0, before.rlim_max};
    testing::internal::CaptureStdout();
    ASSERT_EQ(setrlimit(resource, &none), 0);
    EXPECT_FALSE(ring_.ringMakeSize(size));
    ASSERT_EQ(setrlimit(resource, &before), 0);
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex(
                    "TPCircularBuffer\\.c:[0-9]+: Buffer allocation: " + std::string(reason) + "\n"));
    EXPECT_EQ(ring_.len_total(), size);
    char text[4] = "";
    EXPECT_EQ(ring_.ringGet_Size(text, 3), held);
    EXPECT_STREQ(text, held == 0 ? "" : "abc");
    if (held == 0) expectWithoutMemory();
    ring_.ringRelease();
    ASSERT_TRUE(ring_.ringMakeSize(1)) << "later it can";
  }
}

TEST_F(KWRingTest, TakesAndGivesWhatFitsInOrder) {
  std::mt19937 random(20240305);
  ASSERT_TRUE(ring_.ringMakeSize(1));
  std::deque<std::uint8_t> model;
  std::vector<std::uint8_t> bytes(std::size_t{2} * page());
  for (int i = 0; i < 3000; ++i) {
    SCOPED_TRACE(i);
    const std::size_t limits[] = {bytes.size(), 300, 300, 2};
    const auto size =
        static_cast<std::uint32_t>(random() % 10 == 0 ? 0x80000000U : random() % limits[random() % 4]);
    if (random() % 50 == 0) {
      ring_.ringClean();
      model.clear();
    } else if (random() % 2 == 0) {
      for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random());
      const std::uint32_t taken = ring_.ringPut_Size(bytes.data(), size);
      ASSERT_EQ(taken, std::min<std::size_t>(size, page() - model.size()));
      model.insert(model.end(), bytes.begin(), bytes.begin() + taken);
    } else {
      const std::uint32_t given = ring_.ringGet_Size(bytes.data(), size);
      ASSERT_EQ(given, std::min<std::size_t>(size, model.size()));
      ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + given, model.begin()));
      model.erase(model.begin(), model.begin() + given);
    }
    ASSERT_EQ(ring_.ringUsable(), page() - model.size());
  }
}

}  // namespace
}  // namespace vantrel
