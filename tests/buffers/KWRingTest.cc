#include "vantrel/buffers/KWRing.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <deque>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/ScopedLimit.h"

namespace vantrel::tests {
namespace {

const auto kPage = static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE));

class KWRingTest : public testing::Test {
 protected:
  ~KWRingTest() override { ring_.ringRelease(); }

  std::string get(std::uint32_t most) {
    std::string text(most, '\0');
    text.resize(ring_.ringGet_Size(text.data(), most));
    return text;
  }

  void expectWithoutMemory() {
    EXPECT_EQ(ring_.ringPut_Size("x", 1), 0U);
    EXPECT_EQ(get(1), "");
    EXPECT_EQ(ring_.ringUsable(), 0U);
    ring_.ringClean();
  }

  KWRing ring_;
};

TEST_F(KWRingTest, IsWithoutMemoryWhenNewAndWhenReleasedAndEmptyWhenMade) {
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(ring_.len_total(), 0);
    expectWithoutMemory();
    for (bool anew : {false, true}) {
      SCOPED_TRACE(anew ? "made anew without being released" : "made");
      ASSERT_TRUE(ring_.ringMakeSize(1000));
      EXPECT_EQ(ring_.len_total(), static_cast<std::int32_t>(kPage));
      EXPECT_EQ(ring_.ringUsable(), kPage);
      EXPECT_EQ(ring_.ringPut_Size("abc", 3), 3U);
      EXPECT_EQ(get(2), "ab");
    }
    ring_.setLen_total(5);
    EXPECT_EQ(ring_.len_total(), 5);
    EXPECT_EQ(ring_.ringUsable(), kPage - 1) << "nothing else has changed";
    ring_.ringRelease();
    ring_.ringRelease();
  }
}

TEST_F(KWRingTest, KeepsWhatItHasWhenItCannotBeMadeAnew) {
  constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
  for (const auto& [resource, reason] :
       {std::pair{RLIMIT_NOFILE, "Too many open files"}, {RLIMIT_FSIZE, "File too large"}}) {
    SCOPED_TRACE(reason);
    const std::uint32_t held = ring_.ringPut_Size("abc", 3);  // 0 in the first round: nothing made yet
    const std::int32_t length = ring_.len_total(), size = 2 * static_cast<std::int32_t>(kPage);
    for (const std::int32_t impossible : {0, -1, -kMost - 1, kMost})
      EXPECT_FALSE(ring_.ringMakeSize(impossible)) << impossible;
    EXPECT_EQ(ring_.len_total(), length);
    testing::internal::CaptureStdout();
    {
      const ScopedLimit none(resource, 0);
      std::signal(SIGXFSZ, SIG_DFL);  // which the ring keeps away by itself
      EXPECT_FALSE(ring_.ringMakeSize(size));
    }
    EXPECT_THAT(testing::internal::GetCapturedStdout(),
                testing::MatchesRegex(
                    "TPCircularBuffer\\.c:[0-9]+: Buffer allocation: " + std::string(reason) + "\n"));
    EXPECT_EQ(ring_.len_total(), size);
    EXPECT_EQ(get(3), held == 0 ? "" : "abc");
    if (held == 0) expectWithoutMemory();
    ring_.ringRelease();
    ASSERT_TRUE(ring_.ringMakeSize(1)) << "later it can";
  }
}

TEST_F(KWRingTest, TakesAndGivesWhatFitsInOrder) {
  std::mt19937 random(20240305);
  ASSERT_TRUE(ring_.ringMakeSize(1));
  std::deque<std::uint8_t> model;
  std::vector<std::uint8_t> bytes(std::size_t{2} * kPage);
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
      ASSERT_EQ(taken, std::min<std::size_t>(size, kPage - model.size()));
      model.insert(model.end(), bytes.begin(), bytes.begin() + taken);
    } else {
      const std::uint32_t given = ring_.ringGet_Size(bytes.data(), size);
      ASSERT_EQ(given, std::min<std::size_t>(size, model.size()));
      ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + given, model.begin()));
      model.erase(model.begin(), model.begin() + given);
    }
    ASSERT_EQ(ring_.ringUsable(), kPage - model.size());
  }
}

}  // namespace
}  // namespace vantrel::tests
