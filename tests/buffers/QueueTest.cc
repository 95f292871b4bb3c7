// What one thread sees of a queue: a comparison with a plain deque, and what that does not tell.
#include "vantrel/buffers/queue.h"

#include <gmock/gmock.h>

#include <climits>
#include <cstdlib>

#include "fuzz/QueueProgram.h"
#include "tests/buffers/QueueSupport.h"
#include "tests/support/RandomBytes.h"

namespace vantrel::tests {
namespace {

using testing::ElementsAre;

TEST(QueueTest, RandomProgramsGiveWhatADequeGives) {
  for (std::uint32_t seed = 0; seed < 64 * 20; ++seed) {
    auto program = randomBytes(1 + 2 * 500, seed);
    program[0] = static_cast<std::uint8_t>(seed);  // every kind of queue
    ASSERT_EQ(runQueueProgram(program), "") << "seed " << seed;
  }
}

TEST(QueueTest, NoQueueHoldsMoreThanItsCountCanTell) {
  for (const std::uint16_t maximum : {0, 65534, 65535}) {
    const QueueHandle queue(queue_create_limited(maximum));
    for (int i = 0; i < 65534; ++i) ASSERT_EQ(queue_put(queue.get(), item(i)), QUEUE_OK);
    EXPECT_EQ(queue_put(queue.get(), item(1)), QUEUE_ERR_COUNT);
    EXPECT_EQ(queue_elements(queue.get()), 65534);
    EXPECT_EQ(queue_flush_put(queue.get(), nullptr, item(2)), QUEUE_OK);
    EXPECT_THAT(contents(queue), ElementsAre(2));
  }
}

TEST(QueueTest, WithoutAFreeFunctionItemsGoToFree) {
  queue_state* const queue = queue_create();
  for (int i = 0; i < 3; ++i) queue_put(queue, std::malloc(10));
  EXPECT_EQ(queue_flush_complete(queue, nullptr), QUEUE_OK);
  for (int i = 0; i < 3; ++i) queue_put(queue, std::malloc(10));
  EXPECT_EQ(queue_flush_complete_put(queue, nullptr, std::malloc(10)), QUEUE_OK);
  EXPECT_EQ(queue_destroy_complete(queue, nullptr), 0);
}

TEST(QueueTest, ACountWithoutEntriesIsNoticed) {
  const QueueHandle queue(queue_create());
  queue->count = 1;
  void* out = item(99);
  EXPECT_EQ(queue_get_pre(queue.get(), &out), QUEUE_ERR_NULL);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_ERR_NO_MATCH);
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(1)), QUEUE_ERR_NO_MATCH);
  EXPECT_EQ(queue->count, 1);
  EXPECT_EQ(queue_empty(queue.get()), 1) << "asks for entries, not for the count";
}

// Where a sorted queue puts an item in the odd cases, and which questions it asks for it.

using Numbers = std::vector<std::intptr_t>;

Numbers asked;  // pairs in a row

int compareAndNote(void* a, void* b) {
  asked.insert(asked.end(), {number(a), number(b)});
  return compareNumbers(a, b);
}

int alwaysBefore(void*, void*) { return -1; }
int alwaysAfter(void*, void*) { return 1; }
int extremes(void* a, void* b) { return compareNumbers(a, b) < 0 ? INT_MIN : INT_MAX; }

QueueHandle sorted(int ascending, queue_compare compare, const Numbers& numbers) {
  QueueHandle queue(queue_create_sorted(static_cast<std::int8_t>(ascending), compare));
  for (const std::intptr_t each : numbers) EXPECT_EQ(queue_put(queue.get(), item(each)), QUEUE_OK);
  return queue;
}

TEST(QueueOrderTest, AnyComparisonGivesAnOrder) {
  const Numbers put = {1, 2, 3, 4}, reversed = {4, 3, 2, 1}, firstStays = {1, 4, 3, 2};
  EXPECT_EQ(contents(sorted(1, extremes, put)), put);
  EXPECT_EQ(contents(sorted(0, extremes, put)), reversed);
  EXPECT_EQ(contents(sorted(-1, compareNumbers, {2, 1, 3})), (Numbers{1, 2, 3})) << "not 0 is ascending";
  // No order at all: of every first pair (s, t), s comes before the new item and the new item before t.
  EXPECT_EQ(contents(sorted(1, alwaysBefore, put)), firstStays);
  EXPECT_EQ(contents(sorted(0, alwaysAfter, put)), firstStays);
  EXPECT_EQ(contents(sorted(1, alwaysAfter, put)), reversed);
  EXPECT_EQ(contents(sorted(0, alwaysBefore, put)), reversed);
}

TEST(QueueOrderTest, TheComparisonIsAskedInAFixedOrder) {
  const struct {
    int ascending;
    Numbers held;
    std::intptr_t put;
    Numbers questions;
  } cases[] = {
      {1, {}, 5, {}},
      {1, {5}, 4, {5, 4}},
      {1, {5}, 6, {5, 6}},
      {1, {1, 3, 5}, 1, {1, 1}},
      {1, {1, 3, 5}, 2, {1, 2, 1, 2, 2, 3}},
      {1, {1, 3, 5}, 4, {1, 4, 1, 4, 4, 3, 3, 4, 4, 5}},
      {1, {1, 3, 5}, 6, {1, 6, 1, 6, 6, 3, 3, 6, 6, 5}},
      {0, {5, 3, 1}, 5, {5, 5}},
      {0, {5, 3, 1}, 4, {5, 4, 5, 4, 4, 3}},
      {0, {5, 3, 1}, 2, {5, 2, 5, 2, 2, 3, 3, 2, 2, 1}},
  };
  for (const auto& each : cases) {
    const QueueHandle queue = sorted(each.ascending, compareAndNote, each.held);
    asked.clear();
    EXPECT_EQ(queue_put(queue.get(), item(each.put)), QUEUE_OK);
    EXPECT_EQ(asked, each.questions) << each.put << " into " << testing::PrintToString(each.held);
  }
}

TEST(QueueOrderTest, WhereNoPairQualifiesTheItemGoesToTheEnd) {
  // Turning the direction after the fact leaves a chain in the wrong order for what follows.
  const QueueHandle queue = sorted(0, compareNumbers, {4, 3, 2});
  queue->ascending = 1;
  for (const std::intptr_t each : {6, 5}) EXPECT_EQ(queue_put(queue.get(), item(each)), QUEUE_OK);
  EXPECT_EQ(contents(queue), (Numbers{4, 3, 2, 5, 6}));
}

}  // namespace
}  // namespace vantrel::tests
