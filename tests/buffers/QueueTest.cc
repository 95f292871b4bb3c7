// What one thread sees of a queue: a comparison with a plain deque, and what that does not tell.
#include "vantrel/buffers/queue.h"

#include <gmock/gmock.h>

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

}  // namespace
}  // namespace vantrel::tests
