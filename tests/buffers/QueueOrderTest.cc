// Where a sorted queue puts an item, and which questions it asks for it.
#include <gmock/gmock.h>

#include <algorithm>
#include <climits>
#include <random>
#include <utility>

#include "tests/buffers/QueueSupport.h"

namespace vantrel::tests {
namespace {

using testing::ElementsAre;

using Question = std::pair<std::intptr_t, std::intptr_t>;

std::vector<Question> asked;

// Items whose hundreds alone count, so that equal ones can be told apart.
int compareHundreds(void* a, void* b) {
  asked.emplace_back(number(a), number(b));
  return static_cast<int>(number(a) / 100 - number(b) / 100);
}

int alwaysBefore(void*, void*) { return -1; }
int alwaysAfter(void*, void*) { return 1; }
int alwaysEqual(void*, void*) { return 0; }
int extremes(void* a, void* b) {
  return number(a) < number(b) ? INT_MIN : number(a) > number(b) ? INT_MAX : 0;
}

std::vector<std::intptr_t> sorted(std::int8_t ascending, queue_compare compare,
                                  const std::vector<std::intptr_t>& numbers) {
  const QueueHandle queue(queue_create_sorted(ascending, compare));
  for (const std::intptr_t each : numbers) EXPECT_EQ(queue_put(queue.get(), item(each)), QUEUE_OK);
  return contents(queue.get());
}

TEST(QueueOrderTest, ItemsAreKeptInOrderAndEqualOnesNewestFirst) {
  struct Case {
    std::int8_t ascending;
    std::vector<std::intptr_t> put;
    std::vector<std::intptr_t> held;
  };
  const Case cases[] = {
      {1, {500, 100, 300, 301}, {100, 301, 300, 500}},
      {0, {500, 100, 300, 301}, {500, 301, 300, 100}},
      {-1, {200, 100}, {100, 200}},
      {1, {100, 101, 102}, {102, 101, 100}},
      {0, {100, 101, 102}, {102, 101, 100}},
      {1, {100, 200, 300}, {100, 200, 300}},
      {0, {100, 200, 300}, {300, 200, 100}},
      {1, {100, 200, 201, 300, 301}, {100, 201, 200, 301, 300}},
      {0, {300, 200, 201, 100, 101}, {300, 201, 200, 101, 100}},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(sorted(each.ascending, compareHundreds, each.put), each.held)
        << testing::PrintToString(each.put) << int{each.ascending};
  }
}

TEST(QueueOrderTest, TheComparisonIsAskedInAFixedOrder) {
  struct Case {
    std::int8_t ascending;
    std::vector<std::intptr_t> held;
    std::intptr_t put;
    std::vector<Question> questions;
  };
  const Case cases[] = {
      {1, {}, 500, {}},
      {1, {500}, 400, {{500, 400}}},
      {1, {500}, 600, {{500, 600}}},
      {1, {100, 300, 500}, 100, {{100, 100}}},
      {1, {100, 300, 500}, 200, {{100, 200}, {100, 200}, {200, 300}}},
      {1, {100, 300, 500}, 400, {{100, 400}, {100, 400}, {400, 300}, {300, 400}, {400, 500}}},
      {1, {100, 300, 500}, 600, {{100, 600}, {100, 600}, {600, 300}, {300, 600}, {600, 500}}},
      {0, {500, 300, 100}, 500, {{500, 500}}},
      {0, {500, 300, 100}, 400, {{500, 400}, {500, 400}, {400, 300}}},
      {0, {500, 300, 100}, 200, {{500, 200}, {500, 200}, {200, 300}, {300, 200}, {200, 100}}},
  };
  for (const Case& each : cases) {
    const QueueHandle queue(queue_create_sorted(each.ascending, compareHundreds));
    for (const std::intptr_t one : each.held) queue_put(queue.get(), item(one));
    ASSERT_EQ(contents(queue.get()), each.held);
    asked.clear();
    queue_put(queue.get(), item(each.put));
    EXPECT_EQ(asked, each.questions) << each.put << " into " << testing::PrintToString(each.held);
  }
}

TEST(QueueOrderTest, ABrokenOrderStillFindsAPlace) {
  struct Case {
    std::int8_t ascending;
    queue_compare compare;
    std::vector<std::intptr_t> held;  // after 1, 2, 3, 4
  };
  const Case cases[] = {
      // Every first pair (s, t) has s before the new item and the new item before t.
      {1, alwaysBefore, {1, 4, 3, 2}}, {1, alwaysAfter, {4, 3, 2, 1}}, {1, alwaysEqual, {4, 3, 2, 1}},
      {0, alwaysBefore, {4, 3, 2, 1}}, {0, alwaysAfter, {1, 4, 3, 2}}, {0, alwaysEqual, {4, 3, 2, 1}},
      {1, extremes, {1, 2, 3, 4}},     {0, extremes, {4, 3, 2, 1}},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(sorted(each.ascending, each.compare, {1, 2, 3, 4}), each.held);
  }
}

TEST(QueueOrderTest, WhereNoPairQualifiesTheItemGoesToTheEnd) {
  // Turning the direction after the fact leaves a chain in the wrong order for what follows.
  const QueueHandle queue(queue_create_sorted(0, compareHundreds));
  for (int i : {400, 300, 200}) queue_put(queue.get(), item(i));
  queue->ascending = 1;
  queue_put(queue.get(), item(600));
  EXPECT_THAT(contents(queue.get()), ElementsAre(400, 300, 200, 600));
  queue_put(queue.get(), item(500));
  EXPECT_THAT(contents(queue.get()), ElementsAre(400, 300, 200, 500, 600));
}

TEST(QueueOrderTest, RandomPutsAndGetsAgreeWithAStableInsertion) {
  std::mt19937 random(3);
  for (const std::int8_t ascending : {0, 1}) {
    const QueueHandle queue(queue_create_sorted(ascending, compareHundreds));
    std::vector<std::intptr_t> model;
    for (int i = 0; i < 20000; ++i) {
      if (random() % 100 < (model.size() < 50 ? 60U : 40U)) {
        const auto put = static_cast<std::intptr_t>(random() % 2000);
        const auto before = [&](std::intptr_t held) {
          return ascending ? held / 100 < put / 100 : held / 100 > put / 100;
        };
        model.insert(std::partition_point(model.begin(), model.end(), before), put);
        ASSERT_EQ(queue_put(queue.get(), item(put)), QUEUE_OK);
      } else if (!model.empty()) {
        void* out = nullptr;
        ASSERT_EQ(queue_get(queue.get(), &out), QUEUE_OK);
        ASSERT_EQ(number(out), model.front());
        model.erase(model.begin());
      }
      if (i % 500 == 0) {
        ASSERT_EQ(contents(queue.get()), model);
      }
    }
    asked.clear();
  }
}

}  // namespace
}  // namespace vantrel::tests
