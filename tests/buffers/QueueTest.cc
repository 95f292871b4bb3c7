// What one thread sees of a queue: a comparison with a plain deque, and what that does not tell.
#include "vantrel/buffers/queue.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <random>
#include <tuple>
#include <type_traits>

#include "tests/buffers/QueueProgram.h"
#include "tests/buffers/QueueSupport.h"

namespace vantrel::tests {
namespace {

using testing::ElementsAre;

// The fields in their order, for those who read them.
static_assert(offsetof(queue_entry, item) == 0 && offsetof(queue_entry, next) == sizeof(void*));
constexpr std::size_t kFields[] = {
    offsetof(queue_state, first),     offsetof(queue_state, last),     offsetof(queue_state, count),
    offsetof(queue_state, max_count), offsetof(queue_state, new_data), offsetof(queue_state, sorted),
    offsetof(queue_state, ascending), offsetof(queue_state, compare),  offsetof(queue_state, mutex),
    offsetof(queue_state, cond_get),  offsetof(queue_state, cond_put)};
static_assert(kFields[0] == 0 && std::ranges::is_sorted(kFields));
static_assert(std::is_same_v<decltype(queue_state::max_count), std::uint16_t>);
static_assert(std::is_same_v<decltype(queue_elements(nullptr)), std::uint16_t>);
static_assert(std::is_same_v<decltype(queue_put(nullptr, nullptr)), std::int8_t>);

static_assert(QUEUE_OK == 0 && QUEUE_ERR_NULL == -1 && QUEUE_ERR_LOCK == -2 && QUEUE_ERR_MEMORY == -3);
static_assert(QUEUE_ERR_CLOSED == -4 && QUEUE_ERR_NO_MATCH == -5 && QUEUE_ERR_COUNT == -7);

TEST(QueueTest, EveryCreateOperationSetsTheFields) {
  const struct {
    queue_state* made;
    int maximum, sorted, ascending;
  } cases[] = {
      {queue_create(), 0, 0, 1},
      {queue_create_limited(65535), 65535, 0, 1},
      {queue_create_sorted(1, compareNumbers), 0, 1, 1},
      {queue_create_sorted(-1, compareNumbers), 0, 1, 255},
      {queue_create_limited_sorted(7, 0, compareNumbers), 7, 1, 0},
  };
  for (const auto& each : cases) {
    const QueueHandle queue(each.made);
    ASSERT_NE(queue, nullptr);
    EXPECT_THAT(contents(queue), ElementsAre());
    EXPECT_EQ(std::tuple(queue->max_count, queue->new_data, queue->sorted, queue->ascending),
              std::tuple(each.maximum, 1, each.sorted, each.ascending));
    EXPECT_EQ(queue->compare, each.sorted ? compareNumbers : nullptr);
    EXPECT_NE(queue->mutex, nullptr);
    EXPECT_NE(queue->cond_get, nullptr);
    EXPECT_NE(queue->cond_put, nullptr);
    EXPECT_NE(queue->cond_get, queue->cond_put);
  }
}

TEST(QueueTest, RandomProgramsGiveWhatADequeGives) {
  for (std::uint32_t seed = 0; seed < 64 * 20; ++seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> program(1 + 2 * 500);
    for (std::uint8_t& byte : program) byte = static_cast<std::uint8_t>(random());
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

}  // namespace
}  // namespace vantrel::tests
