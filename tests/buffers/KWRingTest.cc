#include "vantrel/buffers/KWRing.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <limits>
#include <random>
#include <type_traits>
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

TEST_F(KWRingTest, IsWithoutMemoryWhenNewAndWhenReleased) {
  EXPECT_EQ(ring_.len_total(), 0);
  expectWithoutMemory();
  ASSERT_TRUE(ring_.ringMakeSize(1000));
  ring_.ringPut_Size("abc", 3);
  for (int i = 0; i < 2; ++i) {
    ring_.ringRelease();
    EXPECT_EQ(ring_.len_total(), 0);
    expectWithoutMemory();
  }
  ASSERT_TRUE(ring_.ringMakeSize(1000));
  EXPECT_EQ(ring_.ringUsable(), page()) << "made anew, it is empty";
}

TEST_F(KWRingTest, HoldsWholePages) {
  const auto onePage = static_cast<std::int32_t>(page());
  for (const auto& [size, length] : {std::pair{1, onePage},
                                     {1000, onePage},
                                     {onePage, onePage},
                                     {onePage + 1, 2 * onePage},
                                     {10 * onePage, 10 * onePage}}) {
    SCOPED_TRACE(size);
    ASSERT_TRUE(ring_.ringMakeSize(size));
    EXPECT_EQ(ring_.len_total(), length);
    EXPECT_EQ(ring_.ringUsable(), static_cast<std::uint32_t>(length));
    ring_.ringRelease();
  }
}

TEST_F(KWRingTest, RefusesSizesThatCannotBeAndStaysAsItWas) {
  const std::int32_t refused[] = {0, -1, std::numeric_limits<std::int32_t>::min(),
                                  std::numeric_limits<std::int32_t>::max()};
  for (std::int32_t size : refused) EXPECT_FALSE(ring_.ringMakeSize(size)) << size;
  EXPECT_EQ(ring_.len_total(), 0);
  expectWithoutMemory();

  ASSERT_TRUE(ring_.ringMakeSize(1));
  ring_.ringPut_Size("abc", 3);
  for (std::int32_t size : refused) EXPECT_FALSE(ring_.ringMakeSize(size)) << size;
  EXPECT_EQ(ring_.len_total(), static_cast<std::int32_t>(page()));
  char text[4] = "";
  EXPECT_EQ(ring_.ringGet_Size(text, 3), 3U);
  EXPECT_STREQ(text, "abc");
}

TEST_F(KWRingTest, IsWithoutMemoryWhenTheSystemRefuses) {
  for (bool hadMemory : {false, true}) {
    SCOPED_TRACE(hadMemory);
    if (hadMemory) {
      ASSERT_TRUE(ring_.ringMakeSize(1));
      ring_.ringPut_Size("abc", 3);
    }
    rlimit before{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    testing::internal::CaptureStdout();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    const bool made = ring_.ringMakeSize(static_cast<std::int32_t>(page()) + 1);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_NE(testing::internal::GetCapturedStdout(), "");
    EXPECT_FALSE(made);
    EXPECT_EQ(ring_.len_total(), static_cast<std::int32_t>(2 * page()));
    expectWithoutMemory();
  }
}

TEST_F(KWRingTest, IsEmptyWhenMadeAnew) {
  ASSERT_TRUE(ring_.ringMakeSize(1));
  ring_.ringPut_Size("abc", 3);
  ASSERT_TRUE(ring_.ringMakeSize(1));
  EXPECT_EQ(ring_.ringUsable(), page());
  char byte = 0;
  EXPECT_EQ(ring_.ringGet_Size(&byte, 1), 0U);
  EXPECT_EQ(ring_.ringPut_Size("x", 1), 1U);
  EXPECT_EQ(ring_.ringGet_Size(&byte, 1), 1U);
  EXPECT_EQ(byte, 'x');
}

TEST_F(KWRingTest, TakesAndGivesWhatFits) {
  ASSERT_TRUE(ring_.ringMakeSize(1));
  std::vector<std::uint8_t> source(page(), 7), target(page(), 0);
  constexpr std::uint32_t kHuge = std::numeric_limits<std::uint32_t>::max();
  const struct {
    char call;  // put or get
    std::uint32_t size, moved, usableAfter;
  } steps[] = {
      {'g', 0, 0, page()},
      {'g', 100, 0, page()},
      {'p', 0, 0, page()},
      {'p', 30, 30, page() - 30},
      {'g', 0, 0, page() - 30},
      {'g', 100, 30, page()},
      {'p', page() - 4, page() - 4, 4},
      {'p', 10, 4, 0},
      {'p', 10, 0, 0},
      {'p', 0, 0, 0},
      {'g', 3, 3, 3},
      {'p', 10, 3, 0},
      {'g', kHuge, page(), page()},
      {'g', kHuge, 0, page()},
  };
  for (const auto& step : steps) {
    SCOPED_TRACE(testing::Message() << step.call << " " << step.size);
    EXPECT_EQ(step.call == 'p' ? ring_.ringPut_Size(source.data(), step.size)
                               : ring_.ringGet_Size(target.data(), step.size),
              step.moved);
    EXPECT_EQ(ring_.ringUsable(), step.usableAfter);
  }
}

TEST_F(KWRingTest, TakesTheSpaceThereIsOfAnySize) {
  ASSERT_TRUE(ring_.ringMakeSize(1));
  for (std::uint32_t size : {0x80000000U, 0xffffffffU}) {
    const std::vector<std::uint8_t> source(page(), 9);
    EXPECT_EQ(ring_.ringPut_Size(source.data(), size), page()) << "counted as unsigned";
    ring_.ringClean();
  }
}

TEST_F(KWRingTest, CleanDropsWhatIsHeldAndNoMore) {
  ASSERT_TRUE(ring_.ringMakeSize(1));
  for (int round = 0; round < 20; ++round) {
    const std::vector<char> dropped(500, 'x'), kept(300, static_cast<char>(round));
    ASSERT_EQ(ring_.ringPut_Size(dropped.data(), 500), 500U);
    ring_.ringClean();
    ring_.ringClean();
    EXPECT_EQ(ring_.ringUsable(), page());
    std::vector<char> got(300);
    EXPECT_EQ(ring_.ringGet_Size(got.data(), 300), 0U);
    ASSERT_EQ(ring_.ringPut_Size(kept.data(), 300), 300U);
    EXPECT_EQ(ring_.ringGet_Size(got.data(), 300), 300U);
    EXPECT_EQ(got, kept);
  }
}

TEST_F(KWRingTest, SettingTheLengthChangesNothingElse) {
  ASSERT_TRUE(ring_.ringMakeSize(1));
  ring_.setLen_total(5);
  EXPECT_EQ(ring_.len_total(), 5);
  EXPECT_EQ(ring_.ringUsable(), page());
}

TEST_F(KWRingTest, KeepsBytesInOrderThroughAnySizes) {
  constexpr std::uint32_t kSeed = 20240305;
  std::mt19937 random(kSeed);
  SCOPED_TRACE(testing::Message() << "seed " << kSeed);
  ASSERT_TRUE(ring_.ringMakeSize(1));
  std::deque<std::uint8_t> model;
  std::vector<std::uint8_t> bytes(std::size_t{2} * page());
  for (int i = 0; i < 3000; ++i) {
    const auto size = static_cast<std::uint32_t>(random() % (i % 3 == 0 ? bytes.size() : 300));
    if (random() % 2 == 0) {
      for (std::uint32_t j = 0; j < size; ++j) bytes[j] = static_cast<std::uint8_t>(random());
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
