#include "vantrel/buffers/queue.h"

#include <gmock/gmock.h>

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <string>
#include <type_traits>

#include "tests/buffers/QueueSupport.h"

namespace vantrel::tests {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

int released = 0;
void countRelease(void*) { ++released; }

// The fields in their order, for those who read them.
static_assert(offsetof(queue_entry, item) == 0 && offsetof(queue_entry, next) == sizeof(void*));
static_assert(offsetof(queue_state, first) == 0);
static_assert(offsetof(queue_state, first) < offsetof(queue_state, last));
static_assert(offsetof(queue_state, last) < offsetof(queue_state, count));
static_assert(offsetof(queue_state, count) < offsetof(queue_state, max_count));
static_assert(offsetof(queue_state, max_count) < offsetof(queue_state, new_data));
static_assert(offsetof(queue_state, new_data) < offsetof(queue_state, sorted));
static_assert(offsetof(queue_state, sorted) < offsetof(queue_state, ascending));
static_assert(offsetof(queue_state, ascending) < offsetof(queue_state, compare));
static_assert(offsetof(queue_state, compare) < offsetof(queue_state, mutex));
static_assert(offsetof(queue_state, mutex) < offsetof(queue_state, cond_get));
static_assert(offsetof(queue_state, cond_get) < offsetof(queue_state, cond_put));
static_assert(std::is_same_v<decltype(queue_state::count), std::uint16_t>);
static_assert(std::is_same_v<decltype(queue_state::max_count), std::uint16_t>);
static_assert(std::is_same_v<decltype(queue_elements(nullptr)), std::uint16_t>);
static_assert(std::is_same_v<decltype(queue_put(nullptr, nullptr)), std::int8_t>);

TEST(QueueTest, EveryCreateOperationSetsTheFields) {
  struct Case {
    queue_state* made;
    std::uint16_t maximum;
    std::uint8_t sorted;
    std::uint8_t ascending;
  };
  const Case cases[] = {
      {queue_create(), 0, 0, 1},
      {queue_create_limited(0), 0, 0, 1},
      {queue_create_limited(3), 3, 0, 1},
      {queue_create_limited(65535), 65535, 0, 1},
      {queue_create_sorted(1, compareNumbers), 0, 1, 1},
      {queue_create_sorted(0, compareNumbers), 0, 1, 0},
      {queue_create_sorted(-1, compareNumbers), 0, 1, 255},
      {queue_create_limited_sorted(7, 0, compareNumbers), 7, 1, 0},
  };
  for (const Case& each : cases) {
    const QueueHandle queue(each.made);
    ASSERT_NE(queue, nullptr);
    EXPECT_EQ(queue->first, nullptr);
    EXPECT_EQ(queue->last, nullptr);
    EXPECT_EQ(queue->count, 0);
    EXPECT_EQ(queue->max_count, each.maximum);
    EXPECT_EQ(queue->new_data, 1);
    EXPECT_EQ(queue->sorted, each.sorted);
    EXPECT_EQ(queue->ascending, each.ascending);
    EXPECT_EQ(queue->compare, each.sorted ? compareNumbers : nullptr);
    EXPECT_NE(queue->mutex, nullptr);
    EXPECT_NE(queue->cond_get, nullptr);
    EXPECT_NE(queue->cond_put, nullptr);
    EXPECT_NE(queue->cond_get, queue->cond_put);
  }
  EXPECT_EQ(queue_create_sorted(1, nullptr), nullptr);
  EXPECT_EQ(queue_create_limited_sorted(7, 0, nullptr), nullptr);
}

TEST(QueueTest, ANullQueueAnswersByEveryOperation) {
  const std::function<int()> operations[] = {
      [] { return queue_destroy(nullptr); },
      [] { return queue_destroy_complete(nullptr, free); },
      [] { return queue_flush(nullptr); },
      [] { return queue_flush_complete(nullptr, free); },
      [] { return queue_empty(nullptr); },
      [] { return queue_set_new_data(nullptr, 0); },
      [] { return queue_put(nullptr, item(1)); },
      [] { return queue_put_wait(nullptr, item(1)); },
      [] { return queue_flush_put(nullptr, free, item(1)); },
      [] { return queue_flush_complete_put(nullptr, free, item(1)); },
      [] { return queue_lock_internal(nullptr); },
      [] { return queue_unlock_internal(nullptr); },
      [] { return queue_put_internal(nullptr, item(1), nullptr); },
      [] { return queue_flush_internal(nullptr, 1, nullptr); },
      [] { return queue_destroy_internal(nullptr, 1, nullptr); },
  };
  for (const auto& operation : operations) EXPECT_EQ(operation(), QUEUE_ERR_NULL);
  EXPECT_EQ(queue_elements(nullptr), 65535);
  EXPECT_EQ(queue_get_new_data(nullptr), 0);

  using Get = std::function<int(queue_state*, void**)>;
  const Get gets[] = {
      queue_get_pre,
      queue_get,
      queue_get_wait,
      [](queue_state* queue, void** out) { return queue_get_filtered(queue, out, selectSame, item(1)); },
      [](queue_state* queue, void** out) {
        return queue_get_internal(queue, out, nullptr, nullptr, nullptr);
      },
  };
  const QueueHandle queue(queue_create());
  queue_put(queue.get(), item(1));
  for (const Get& get : gets) {
    void* out = item(99);
    EXPECT_EQ(get(nullptr, &out), QUEUE_ERR_NULL);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(get(queue.get(), nullptr), QUEUE_ERR_NULL);
  }
  EXPECT_THAT(contents(queue.get()), ElementsAre(1)) << "nowhere to put the item: it stays";
}

TEST(QueueTest, CodesAreNumbered) {
  EXPECT_THAT((std::vector<int>{QUEUE_OK, QUEUE_ERR_NULL, QUEUE_ERR_LOCK, QUEUE_ERR_MEMORY, QUEUE_ERR_CLOSED,
                                QUEUE_ERR_NO_MATCH, QUEUE_ERR_COUNT}),
              ElementsAre(0, -1, -2, -3, -4, -5, -7));
}

TEST(QueueTest, ItemsComeOutInTheOrderTheyWentIn) {
  const QueueHandle queue(queue_create());
  void* out = item(99);
  EXPECT_EQ(queue_empty(queue.get()), 1);
  for (int i : {5, 0, 5, 3}) EXPECT_EQ(queue_put(queue.get(), item(i)), QUEUE_OK);
  EXPECT_EQ(queue_empty(queue.get()), 0);
  EXPECT_EQ(queue_elements(queue.get()), 4);
  for (int i : {5, 0, 5, 3}) {
    out = item(99);
    EXPECT_EQ(queue_get_pre(queue.get(), &out), QUEUE_OK);
    EXPECT_EQ(number(out), i);
    out = item(99);
    EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_OK);
    EXPECT_EQ(number(out), i);
  }
  for (const auto get : {queue_get_pre, queue_get}) {
    out = item(99);
    EXPECT_EQ(get(queue.get(), &out), QUEUE_ERR_COUNT);
    EXPECT_EQ(out, nullptr);
  }
  EXPECT_EQ(queue_empty(queue.get()), 1);
  EXPECT_EQ(queue_elements(queue.get()), 0);
}

TEST(QueueTest, ALimitedQueueRefusesWhatIsTooMuch) {
  const QueueHandle queue(queue_create_limited(3));
  for (int i = 1; i <= 3; ++i) EXPECT_EQ(queue_put(queue.get(), item(i)), QUEUE_OK);
  EXPECT_EQ(queue_put(queue.get(), item(4)), QUEUE_ERR_COUNT);
  EXPECT_THAT(contents(queue.get()), ElementsAre(1, 2, 3));
  void* out = nullptr;
  EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_OK);
  EXPECT_EQ(queue_put(queue.get(), item(4)), QUEUE_OK);
  EXPECT_THAT(contents(queue.get()), ElementsAre(2, 3, 4));
}

TEST(QueueTest, NoQueueHoldsMoreThanItsCountCanTell) {
  for (const std::uint16_t maximum : {0, 65534, 65535}) {
    const QueueHandle queue(queue_create_limited(maximum));
    for (int i = 0; i < 65534; ++i) ASSERT_EQ(queue_put(queue.get(), item(i)), QUEUE_OK);
    EXPECT_EQ(queue_elements(queue.get()), 65534);
    EXPECT_EQ(queue_put(queue.get(), item(1)), QUEUE_ERR_COUNT);
    EXPECT_EQ(queue_elements(queue.get()), 65534);
    EXPECT_EQ(queue_flush_put(queue.get(), nullptr, item(2)), QUEUE_OK);
    EXPECT_THAT(contents(queue.get()), ElementsAre(2));
  }
}

TEST(QueueTest, AClosedQueueHandsOutWhatItHolds) {
  const QueueHandle queue(queue_create());
  for (int i = 1; i <= 3; ++i) queue_put(queue.get(), item(i));
  EXPECT_EQ(queue_get_new_data(queue.get()), 1);
  EXPECT_EQ(queue_set_new_data(queue.get(), 0), QUEUE_OK);
  EXPECT_EQ(queue_get_new_data(queue.get()), 0);
  EXPECT_EQ(queue_put(queue.get(), item(4)), QUEUE_ERR_CLOSED);
  EXPECT_EQ(queue_put_wait(queue.get(), item(4)), QUEUE_ERR_CLOSED);
  void* out = nullptr;
  EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_OK);
  EXPECT_EQ(queue_get_wait(queue.get(), &out), QUEUE_OK);
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(3)), QUEUE_OK);
  EXPECT_EQ(number(out), 3);
  EXPECT_EQ(queue_get_wait(queue.get(), &out), QUEUE_ERR_CLOSED);
  EXPECT_EQ(out, nullptr);
  out = item(99);
  EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_ERR_COUNT);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(queue_set_new_data(queue.get(), 255), QUEUE_OK);
  EXPECT_EQ(queue_get_new_data(queue.get()), 255);
  EXPECT_EQ(queue_put(queue.get(), item(4)), QUEUE_OK);
  EXPECT_THAT(contents(queue.get()), ElementsAre(4));
}

TEST(QueueTest, AFullAndClosedQueueIsClosedAboveAll) {
  const QueueHandle queue(queue_create_limited(1));
  queue_put(queue.get(), item(1));
  queue_set_new_data(queue.get(), 0);
  EXPECT_EQ(queue_put(queue.get(), item(2)), QUEUE_ERR_CLOSED);
  EXPECT_EQ(queue_put_wait(queue.get(), item(2)), QUEUE_ERR_CLOSED);
}

TEST(QueueTest, AFilterTakesTheFirstThatItSelects) {
  struct Case {
    int selected;
    int result;
    std::vector<std::intptr_t> left;
  };
  const Case cases[] = {
      {1, QUEUE_OK, {2, 3, 2, 9}},
      {2, QUEUE_OK, {1, 3, 2, 9}},
      {3, QUEUE_OK, {1, 2, 2, 9}},
      {4, QUEUE_ERR_NO_MATCH, {1, 2, 3, 2, 9}},
  };
  for (const Case& each : cases) {
    const QueueHandle queue(queue_create());
    for (int i : {1, 2, 3, 2}) queue_put(queue.get(), item(i));
    void* out = item(99);
    EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(each.selected)), each.result);
    EXPECT_EQ(number(out), each.result == QUEUE_OK ? each.selected : 0);
    queue_put(queue.get(), item(9));
    EXPECT_EQ(contents(queue.get()), each.left) << each.selected;
  }
}

TEST(QueueTest, AFilterThatTakesTheLastLeavesAChainThatGrows) {
  const QueueHandle queue(queue_create());
  void* out = nullptr;
  for (int i : {1, 2}) queue_put(queue.get(), item(i));
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(2)), QUEUE_OK);
  queue_put(queue.get(), item(3));
  EXPECT_THAT(contents(queue.get()), ElementsAre(1, 3));
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(3)), QUEUE_OK);
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(1)), QUEUE_OK);
  EXPECT_THAT(contents(queue.get()), IsEmpty());
  queue_put(queue.get(), item(4));
  EXPECT_THAT(contents(queue.get()), ElementsAre(4));
}

TEST(QueueTest, AFilterIsAskedFromTheFrontAndNoFurtherThanNeeded) {
  const QueueHandle queue(queue_create());
  for (int i : {1, 2, 3}) queue_put(queue.get(), item(i));
  std::vector<std::intptr_t> asked;
  const auto selectTwo = [](void** slot, void* argument) {
    static_cast<std::vector<std::intptr_t>*>(argument)->push_back(number(*slot));
    return number(*slot) == 2 ? 0 : -1;
  };
  void* out = nullptr;
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectTwo, &asked), QUEUE_OK);
  EXPECT_THAT(asked, ElementsAre(1, 2));
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, nullptr, nullptr), QUEUE_OK);
  EXPECT_EQ(number(out), 1) << "no filter: the first";
  asked.clear();
  queue_flush(queue.get());
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectTwo, &asked), QUEUE_ERR_COUNT);
  EXPECT_THAT(asked, IsEmpty());
}

TEST(QueueTest, OnlyCompleteOperationsReleaseItems) {
  struct Case {
    const char* name;
    std::function<int(queue_state*)> operation;
    int released;
    std::vector<std::intptr_t> left;
  };
  const Case cases[] = {
      {"flush", queue_flush, 0, {}},
      {"flush_complete", [](queue_state* q) { return queue_flush_complete(q, countRelease); }, 3, {}},
      {"flush_put", [](queue_state* q) { return queue_flush_put(q, countRelease, item(7)); }, 0, {7}},
      {"flush_complete_put",
       [](queue_state* q) { return queue_flush_complete_put(q, countRelease, item(7)); },
       3,
       {7}},
  };
  for (const Case& each : cases) {
    released = 0;
    const QueueHandle queue(queue_create_limited(3));
    for (int i : {1, 2, 3}) queue_put(queue.get(), item(i));
    EXPECT_EQ(each.operation(queue.get()), QUEUE_OK) << each.name;
    EXPECT_EQ(released, each.released) << each.name;
    EXPECT_EQ(contents(queue.get()), each.left) << each.name;
  }
  for (const auto& [complete, expected] : {std::pair{false, 0}, std::pair{true, 2}}) {
    released = 0;
    queue_state* const queue = queue_create();
    for (int i : {1, 2}) queue_put(queue, item(i));
    EXPECT_EQ(complete ? queue_destroy_complete(queue, countRelease) : queue_destroy(queue), 0);
    EXPECT_EQ(released, expected);
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

TEST(QueueTest, ARefusedFlushAndPutLeavesTheQueueEmpty) {
  for (const auto operation : {queue_flush_put, queue_flush_complete_put}) {
    released = 0;
    const QueueHandle queue(queue_create());
    for (int i : {1, 2}) queue_put(queue.get(), item(i));
    queue_set_new_data(queue.get(), 0);
    EXPECT_EQ(operation(queue.get(), countRelease, item(3)), QUEUE_ERR_CLOSED);
    EXPECT_THAT(contents(queue.get()), IsEmpty());
    EXPECT_EQ(released, operation == queue_flush_put ? 0 : 2);
  }
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

}  // namespace
}  // namespace vantrel::tests
