// Where a sorted queue puts an item, and which questions it asks for it.
#include <gmock/gmock.h>

#include <climits>
#include <utility>

#include "tests/buffers/QueueSupport.h"

namespace vantrel::tests {
namespace {

using Numbers = std::vector<std::intptr_t>;

Numbers asked;  // pairs in a row

// Items whose hundreds alone count, so that equal ones can be told apart.
int compareHundreds(void* a, void* b) {
  asked.insert(asked.end(), {number(a), number(b)});
  return static_cast<int>(number(a) / 100 - number(b) / 100);
}

int alwaysBefore(void*, void*) { return -1; }
int alwaysAfter(void*, void*) { return 1; }
int alwaysEqual(void*, void*) { return 0; }
int extremes(void* a, void* b) {
  return number(a) < number(b) ? INT_MIN : number(a) > number(b) ? INT_MAX : 0;
}

void putAll(const QueueHandle& queue, const Numbers& numbers) {
  for (const std::intptr_t each : numbers) EXPECT_EQ(queue_put(queue.get(), item(each)), QUEUE_OK);
}

TEST(QueueOrderTest, ItemsAreKeptInOrderAndEqualOnesNewestFirst) {
  const struct {
    std::int8_t ascending;
    queue_compare compare;
    Numbers put, held;
  } cases[] = {
      {1, compareHundreds, {500, 100, 300, 301}, {100, 301, 300, 500}},
      {0, compareHundreds, {500, 100, 300, 301}, {500, 301, 300, 100}},
      {-1, compareHundreds, {200, 100, 101, 300}, {101, 100, 200, 300}},
      {1, extremes, {1, 2, 3, 4}, {1, 2, 3, 4}},
      {0, extremes, {1, 2, 3, 4}, {4, 3, 2, 1}},
      // No order at all: of every first pair (s, t), s comes before the new item and the new item before t.
      {1, alwaysBefore, {1, 2, 3, 4}, {1, 4, 3, 2}},
      {0, alwaysAfter, {1, 2, 3, 4}, {1, 4, 3, 2}},
      {1, alwaysAfter, {1, 2, 3, 4}, {4, 3, 2, 1}},
      {0, alwaysBefore, {1, 2, 3, 4}, {4, 3, 2, 1}},
      {1, alwaysEqual, {1, 2, 3, 4}, {4, 3, 2, 1}},
      {0, alwaysEqual, {1, 2, 3, 4}, {4, 3, 2, 1}},
  };
  for (const auto& each : cases) {
    const QueueHandle queue(queue_create_sorted(each.ascending, each.compare));
    putAll(queue, each.put);
    EXPECT_EQ(contents(queue), each.held) << "direction " << int{each.ascending};
  }
}

TEST(QueueOrderTest, TheComparisonIsAskedInAFixedOrder) {
  const struct {
    std::int8_t ascending;
    Numbers held;
    std::intptr_t put;
    Numbers questions;
  } cases[] = {
      {1, {}, 500, {}},
      {1, {500}, 400, {500, 400}},
      {1, {500}, 600, {500, 600}},
      {1, {100, 300, 500}, 100, {100, 100}},
      {1, {100, 300, 500}, 200, {100, 200, 100, 200, 200, 300}},
      {1, {100, 300, 500}, 400, {100, 400, 100, 400, 400, 300, 300, 400, 400, 500}},
      {1, {100, 300, 500}, 600, {100, 600, 100, 600, 600, 300, 300, 600, 600, 500}},
      {0, {500, 300, 100}, 500, {500, 500}},
      {0, {500, 300, 100}, 400, {500, 400, 500, 400, 400, 300}},
      {0, {500, 300, 100}, 200, {500, 200, 500, 200, 200, 300, 300, 200, 200, 100}},
  };
  for (const auto& each : cases) {
    const QueueHandle queue(queue_create_sorted(each.ascending, compareHundreds));
    putAll(queue, each.held);
    asked.clear();
    putAll(queue, {each.put});
    EXPECT_EQ(asked, each.questions) << each.put << " into " << testing::PrintToString(each.held);
  }
}

TEST(QueueOrderTest, WhereNoPairQualifiesTheItemGoesToTheEnd) {
  // Turning the direction after the fact leaves a chain in the wrong order for what follows.
  const QueueHandle queue(queue_create_sorted(0, compareHundreds));
  putAll(queue, {400, 300, 200});
  queue->ascending = 1;
  putAll(queue, {600, 500});
  EXPECT_EQ(contents(queue), (Numbers{400, 300, 200, 500, 600}));
}

}  // namespace
}  // namespace vantrel::tests
