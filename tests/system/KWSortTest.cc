#include "vantrel/system/KWSort.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <functional>
#include <limits>
#include <map>
#include <numeric>
#include <random>

#include "tests/support/EachTarget.h"
#include "vantrel/system/sort.h"

extern "C" int sortFromC(void);

namespace vantrel {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAreArray;

TEST(SortFunctions, ServeAProgramInC) { EXPECT_EQ(sortFromC(), 0); }

TEST(SortFunctions, SortTheGivenRangeAndNothingElse) {
  std::vector<int> numbers{5, 9, 1, 0};
  AscendingSort(numbers.data(), 1, 2);
  EXPECT_THAT(numbers, ElementsAre(5, 1, 9, 0));
  DescendingSort(numbers.data(), 1, 3);
  EXPECT_THAT(numbers, ElementsAre(5, 9, 1, 0));
  AscendingSort(numbers.data() + 3, -3, -1);
  EXPECT_THAT(numbers, ElementsAre(1, 5, 9, 0));
  for (const auto sort : {AscendingSort, DescendingSort}) {  // empty ranges
    sort(numbers.data(), 1, 1);
    sort(numbers.data(), 1, 0);
    sort(numbers.data(), 0, -1);
    sort(numbers.data(), std::numeric_limits<int>::max(), std::numeric_limits<int>::min());
    sort(nullptr, 0, 5);
  }
  EXPECT_THAT(numbers, ElementsAre(1, 5, 9, 0));
}

TEST(SortFunctions, AgreeWithTheStandardSortForEveryShapeAndSizeOnEveryProcessor) {
  std::mt19937 random(7);
  const std::function<int(int, int)> kShapes[] = {
      [&](int, int) { return static_cast<int>(random()); },  // any
      [](int i, int) { return i; },                          // ordered
      [](int i, int n) { return n - i; },                    // reversed
      [](int, int) { return 42; },                           // all equal
      [&](int, int) { return static_cast<int>(random() % 4); },
      [](int i, int n) { return std::min(i, n - i); },  // up and down
      [](int i, int) { return i % 2 ? std::numeric_limits<int>::max() : std::numeric_limits<int>::min(); },
      [&](int i, int) { return i % 97 == 5 ? static_cast<int>(random()) : i; },          // strays
      [](int i, int n) { return i % 500 < 12 ? n - i : i; },                             // in rows
      [](int i, int n) { return i % 400 == 3 || i % 400 == 4 ? n + i : i; },             // rising ones
      [&](int i, int n) { return i < n - n / 4 ? i / 2 : static_cast<int>(random()); },  // behind much order
  };
  const auto agrees = [&](const auto& shape) {
    for (int size = 2; size < 100'000; size = size < 260 ? size + 1 : 4 * size) {
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
  };
  tests::onEachTarget([&] { std::ranges::for_each(kShapes, agrees); });
}

TEST(KWSort, ShufflesEachTimeDifferentlyAndKeepsEveryElement) {
  std::vector<std::int64_t> list(1000);
  std::iota(list.begin(), list.end(), 0);
  const auto once = KWSort::arrayRandom(list);
  EXPECT_NE(once, list);
  EXPECT_NE(once, KWSort::arrayRandom(list));
  EXPECT_THAT(once, UnorderedElementsAreArray(list));
  for (const std::size_t size : {3, 2, 1, 0}) {
    list.resize(size);
    EXPECT_THAT(KWSort::arrayRandom(list), UnorderedElementsAreArray(list));
  }
}

TEST(KWSort, LetsEveryElementComeFirstAboutEquallyOften) {
  // Of eight, a merge takes each to the front with probability 1/8: 1000 of 8000, standard deviation 30.
  std::map<std::int64_t, int> first;
  for (int round = 0; round < 8000; ++round)
    ++first[KWSort::arrayRandom(std::vector<std::int64_t>{0, 1, 2, 3, 4, 5, 6, 7}).front()];
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
    for (const ValueTree& item : list.items())
      EXPECT_EQ(std::count(result.items().begin(), result.items().end(), item), 1);
    moved = moved || result != list;
  }
  EXPECT_TRUE(moved);
  for (const auto& nothing : {ValueTree::list(), ValueTree("no list")})
    EXPECT_EQ(KWSort::arrayRandom(nothing), ValueTree::list());
}

TEST(KWSort, ComparesExactlyByValue) {
  int swapped = 0;
  for (int round = 0; round < 100; ++round) {
    // 1 and 1.0 are equal, keep their order and can be told apart by their kind.
    const ValueTree equal = KWSort::arrayRandom(ValueTree::list({1, 1.0, 1}));
    EXPECT_EQ(equal[0].kind(), equal[2].kind());
    // Rounded to a double both would be 2^63 and never change places.
    const ValueTree list = ValueTree::list({std::uint64_t{9223372036854775809u}, 0x1p63});
    swapped += KWSort::arrayRandom(list)[0].kind() != list[0].kind();
  }
  EXPECT_GT(swapped, 0);
}

}  // namespace
}  // namespace vantrel
