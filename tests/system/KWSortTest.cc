#include "vantrel/system/KWSort.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <random>
#include <thread>

#include "vantrel/system/sort.h"

extern "C" int sortsFromC(void);

namespace vantrel {
namespace {

using testing::ElementsAre;

TEST(SortFunctions, ServeAProgramInC) { EXPECT_TRUE(sortsFromC()); }

TEST(SortFunctions, SortTheGivenRangeAndNothingElse) {
  std::vector<int> numbers{5, 9, 1, 0};
  AscendingSort(numbers.data(), 1, 2);
  EXPECT_THAT(numbers, ElementsAre(5, 1, 9, 0));
  DescendingSort(numbers.data(), 1, 3);
  EXPECT_THAT(numbers, ElementsAre(5, 9, 1, 0));
  AscendingSort(numbers.data() + 3, -3, -1);
  EXPECT_THAT(numbers, ElementsAre(1, 5, 9, 0));
}

TEST(SortFunctions, LeaveEmptyRangesAlone) {
  std::vector<int> numbers{2, 1, 3};
  const int kMost = std::numeric_limits<int>::max();
  for (const auto sort : {AscendingSort, DescendingSort}) {
    sort(numbers.data(), 1, 1);
    sort(numbers.data(), 1, 0);
    sort(numbers.data(), 0, -1);
    sort(numbers.data(), kMost, std::numeric_limits<int>::min());
    sort(nullptr, 0, 5);
  }
  EXPECT_THAT(numbers, ElementsAre(2, 1, 3));
}

TEST(SortFunctions, AgreeWithTheStandardSortForEveryShapeAndSize) {
  std::mt19937 random(7);
  const std::function<int(int, int)> kShapes[] = {
      [&](int, int) { return static_cast<int>(random()); },  // any
      [](int i, int) { return i; },                          // ordered
      [](int i, int n) { return n - i; },                    // reversed
      [](int, int) { return 42; },                           // all equal
      [&](int, int) { return static_cast<int>(random() % 4); },
      [](int i, int n) { return std::min(i, n - i); },  // up and down
      [](int i, int) { return i % 2 ? std::numeric_limits<int>::max() : std::numeric_limits<int>::min(); },
  };
  for (const auto& shape : kShapes) {
    for (const int size : {2, 3, 16, 63, 64, 65, 66, 127, 128, 1000, 4097, 100'000}) {
      std::vector<int> numbers(static_cast<std::size_t>(size) + 2, -77);  // a guard at each end
      for (int i = 0; i < size; ++i) numbers[static_cast<std::size_t>(i) + 1] = shape(i, size);
      auto expected = numbers;
      std::sort(expected.begin() + 1, expected.end() - 1);
      auto sorted = numbers;
      AscendingSort(sorted.data(), 1, size);
      ASSERT_EQ(sorted, expected) << size;
      std::reverse(expected.begin() + 1, expected.end() - 1);
      DescendingSort(numbers.data(), 1, size);
      ASSERT_EQ(numbers, expected) << size;
    }
  }
}

TEST(SortFunctions, SortDifferentRangesOnSeveralThreads) {
  constexpr int kPart = 10'000;
  std::vector<int> numbers(4 * kPart);
  std::mt19937 random(3);
  for (int& number : numbers) number = static_cast<int>(random());
  std::vector<std::thread> threads;
  for (int part = 0; part < 4; ++part) {
    threads.emplace_back([&, part] { AscendingSort(numbers.data(), part * kPart, (part + 1) * kPart - 1); });
  }
  for (auto& thread : threads) thread.join();
  for (int part = 0; part < 4; ++part) {
    EXPECT_TRUE(std::is_sorted(numbers.begin() + part * kPart, numbers.begin() + (part + 1) * kPart));
  }
}

std::vector<std::int64_t> numbersBelow(std::int64_t count) {
  std::vector<std::int64_t> numbers(static_cast<std::size_t>(count));
  std::iota(numbers.begin(), numbers.end(), 0);
  return numbers;
}

TEST(KWSort, GivesEveryElementOnceAndKeepsTheArgument) {
  for (const std::int64_t count : {0, 1, 2, 3, 10, 1000}) {
    const auto list = numbersBelow(count);
    auto result = KWSort::arrayRandom(list);
    EXPECT_EQ(list, numbersBelow(count));
    std::sort(result.begin(), result.end());
    EXPECT_EQ(result, list);
  }
}

TEST(KWSort, ShufflesALongListAndEachTimeDifferently) {
  const auto list = numbersBelow(1000);
  const auto once = KWSort::arrayRandom(list);
  EXPECT_NE(once, list);
  EXPECT_NE(once, KWSort::arrayRandom(list));
}

TEST(KWSort, LetsEveryElementComeFirstAboutEquallyOften) {
  // Of eight, a merge takes each to the front with probability 1/8: 1000 of 8000, standard deviation 30.
  std::map<std::int64_t, int> first;
  for (int round = 0; round < 8000; ++round) ++first[KWSort::arrayRandom(numbersBelow(8)).front()];
  ASSERT_EQ(first.size(), 8u);
  for (const auto& [number, count] : first) EXPECT_NEAR(count, 1000, 300) << number;
}

TEST(KWSort, ReordersAListOfAnyValues) {
  const ValueTree list = ValueTree::list({1, 2.5, "a", "b", true, nullptr, Date{1}, Bytes::copyOf("x"),
                                          ValueTree::list({1}), ValueTree::dictionary({{"k", 1}})});
  bool moved = false;
  for (int round = 0; round < 20; ++round) {
    const ValueTree result = KWSort::arrayRandom(list);
    ASSERT_EQ(result.size(), list.size());
    for (const ValueTree& item : list.items()) {
      EXPECT_EQ(std::count(result.items().begin(), result.items().end(), item), 1);
    }
    moved = moved || result != list;
  }
  EXPECT_TRUE(moved);
  EXPECT_EQ(KWSort::arrayRandom(ValueTree::list()), ValueTree::list());
  EXPECT_EQ(KWSort::arrayRandom(ValueTree("no list")), ValueTree::list());
}

TEST(KWSort, ElementsThatCompareEqualKeepTheirOrder) {
  // 1 and 1.0 are equal by value and can be told apart by their kind.
  const ValueTree list = ValueTree::list({1, 1.0, 1, 1, 1.0});
  for (int round = 0; round < 20; ++round) {
    const ValueTree result = KWSort::arrayRandom(list);
    for (std::size_t i = 0; i < list.size(); ++i) EXPECT_EQ(result[i].kind(), list[i].kind()) << i;
  }
}

TEST(KWSort, NumbersOfDifferentKindsAreComparedExactly) {
  // Rounded to a double both would be 2^63 and never change places.
  const ValueTree list = ValueTree::list({std::uint64_t{9223372036854775809u}, 0x1p63});
  int swapped = 0;
  for (int round = 0; round < 100; ++round) swapped += KWSort::arrayRandom(list)[0].kind() != list[0].kind();
  EXPECT_GT(swapped, 0);
}

}  // namespace
}  // namespace vantrel
