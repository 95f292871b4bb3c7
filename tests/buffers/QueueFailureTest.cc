// What happens without memory, and when the mutex will not be locked or unlocked.
#include <gmock/gmock.h>

#include <cstdlib>
#include <functional>
#include <utility>

#include "tests/buffers/QueueSupport.h"
#include "tests/support/Sanitizers.h"

namespace vantrel::tests {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

/// Lets so many allocations of queues through and no more.
struct AllocationLimit {
  explicit AllocationLimit(int most) {
    allowed = most, asked = 0;
    queue_allocate_internal = [](std::size_t size) {
      return asked++ < allowed ? std::malloc(size) : nullptr;
    };
  }
  ~AllocationLimit() { queue_allocate_internal = std::malloc; }
  AllocationLimit(const AllocationLimit&) = delete;

  static inline int allowed, asked;
};

using Queue = queue_state*;
Queue (*const kCreates[])() = {
    queue_create,
    [] { return queue_create_limited(3); },
    [] { return queue_create_sorted(1, compareNumbers); },
    [] { return queue_create_limited_sorted(3, 0, compareNumbers); },
};
// The later two flush.
const std::function<int(Queue, void*)> kPuts[] = {
    queue_put,
    queue_put_wait,
    [](Queue q, void* item) { return queue_flush_put(q, nullptr, item); },
    [release = [](void*) {}](Queue q, void* item) { return queue_flush_complete_put(q, release, item); },
};
const std::function<int(Queue, void**)> kGets[] = {
    queue_get_pre,
    queue_get,
    queue_get_wait,
    [](Queue q, void** out) { return queue_get_filtered(q, out, selectSame, item(1)); },
};

// The sanitizers see what a half-made queue would leave behind.
TEST(QueueFailureTest, EveryAllocationOfACreateCanFail) {
  for (const auto& create : kCreates) {
    for (int allowed = 0; allowed < 4; ++allowed) {
      const AllocationLimit limit(allowed);
      EXPECT_EQ(create(), nullptr);
      EXPECT_EQ(AllocationLimit::asked, allowed + 1) << "stops at the first failure";
    }
    const AllocationLimit limit(4);
    const QueueHandle queue(create());
    EXPECT_NE(queue, nullptr);
    EXPECT_EQ(AllocationLimit::asked, 4);
  }
  const AllocationLimit limit(100);
  EXPECT_EQ(queue_create_sorted(1, nullptr), nullptr) << "without a comparison";
  EXPECT_EQ(queue_create_limited_sorted(3, 1, nullptr), nullptr);
  EXPECT_EQ(AllocationLimit::asked, 0);
}

TEST(QueueFailureTest, EveryAllocationOfAPutCanFailAndLeavesTheQueueAsItWas) {
  for (const auto& create : kCreates) {
    for (const auto& put : kPuts) {
      const QueueHandle queue(create());
      for (int held = 0; held < 3; ++held) {
        const std::vector<std::intptr_t> before = contents(queue);
        {
          const AllocationLimit limit(0);
          EXPECT_EQ(put(queue.get(), item(7)), QUEUE_ERR_MEMORY);
          EXPECT_EQ(AllocationLimit::asked, 1);
        }
        EXPECT_EQ(contents(queue), &put - kPuts >= 2 ? std::vector<std::intptr_t>{} : before);
        EXPECT_EQ(queue_put(queue.get(), item(9 - held)), QUEUE_OK);
      }
    }
  }
}

/// Puts a mutex that notices misuse in place of the queue's.
void makeMutexChecking(queue_state* queue) {
  pthread_mutexattr_t attributes;
  pthread_mutexattr_init(&attributes);
  pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_destroy(queue->mutex);
  pthread_mutex_init(queue->mutex, &attributes);
  pthread_mutexattr_destroy(&attributes);
}

// Without a queue, without a mutex that can be locked and, for the gets, without a place for the item.
TEST(QueueFailureTest, EveryOperationSaysWhatIsMissing) {
  const QueueHandle queue(queue_create());
  queue_put(queue.get(), item(1));
  for (const auto& get : kGets) EXPECT_EQ(get(queue.get(), nullptr), QUEUE_ERR_NULL) << "the item stays";

  makeMutexChecking(queue.get());
  ASSERT_EQ(pthread_mutex_lock(queue->mutex), 0);  // a second time would be a deadlock
  for (const auto& [q, code] :
       {std::pair<Queue, int>{nullptr, QUEUE_ERR_NULL}, {queue.get(), QUEUE_ERR_LOCK}}) {
    EXPECT_THAT((std::vector<int>{queue_lock_internal(q), queue_flush(q), queue_flush_complete(q, nullptr),
                                  queue_empty(q), queue_set_new_data(q, 0)}),
                Each(code));
    for (const auto& put : kPuts) EXPECT_EQ(put(q, item(2)), code);
    for (const auto& get : kGets) {
      void* out = item(9);
      EXPECT_EQ(get(q, &out), code);
      EXPECT_EQ(out, nullptr);
    }
    EXPECT_EQ(queue_elements(q), 65535);
    EXPECT_EQ(queue_get_new_data(q), 0);
  }
  ASSERT_EQ(pthread_mutex_unlock(queue->mutex), 0);
  EXPECT_EQ(queue_get_new_data(queue.get()), 1) << "the refused operation changed nothing";
  EXPECT_THAT(contents(queue), ElementsAre(1));

  void* out = item(9);
  EXPECT_THAT((std::vector<int>{queue_destroy(nullptr), queue_destroy_complete(nullptr, nullptr),
                                queue_unlock_internal(nullptr), queue_flush_internal(nullptr, 1, nullptr),
                                queue_put_internal(nullptr, item(1), nullptr),
                                queue_get_internal(nullptr, &out, nullptr, nullptr, nullptr)}),
              Each(QUEUE_ERR_NULL));
  EXPECT_EQ(out, nullptr);
}

// The callbacks run under the mutex, so one that lets it go makes the unlocking fail.
queue_state* leaky = nullptr;
int unlockAndCompare(void* a, void* b) {
  pthread_mutex_unlock(leaky->mutex);
  return compareNumbers(a, b);
}
int unlockAndSelect(void**, void*) {
  pthread_mutex_unlock(leaky->mutex);
  return 0;
}
void unlockAndRelease(void*) { pthread_mutex_unlock(leaky->mutex); }

TEST(QueueFailureTest, WorkThatWasDoneIsStillAnErrorWithoutUnlocking) {
  if (kThreadSanitized) GTEST_SKIP() << "unlocks a mutex twice";
  const QueueHandle queue(queue_create_sorted(1, unlockAndCompare));
  leaky = queue.get();
  makeMutexChecking(queue.get());
  ASSERT_EQ(queue_put(queue.get(), item(2)), QUEUE_OK) << "nothing to compare with";
  EXPECT_EQ(queue_put(queue.get(), item(1)), QUEUE_ERR_LOCK);
  EXPECT_THAT(contents(queue), ElementsAre(1, 2));
  void* out = nullptr;
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, unlockAndSelect, nullptr), QUEUE_ERR_LOCK);
  EXPECT_EQ(number(out), 1);
  EXPECT_THAT(contents(queue), ElementsAre(2));
  EXPECT_EQ(queue_unlock_internal(queue.get()), QUEUE_ERR_LOCK) << "not locked";
  EXPECT_EQ(queue_flush_complete(queue.get(), unlockAndRelease), QUEUE_ERR_LOCK);
  EXPECT_THAT(contents(queue), IsEmpty());
}

}  // namespace
}  // namespace vantrel::tests
