// Destroying a queue from under threads that are blocked in it. The sanitizers see whoever touches it too
// late.
#include <gtest/gtest.h>

#include <atomic>

#include "tests/buffers/QueueSupport.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/Watchdog.h"

namespace vantrel::tests {
namespace {

constexpr int kRounds = 60;

/// Returns once so many threads are blocked or on the way there.
void awaitInside(queue_state* queue, unsigned threads) {
  for (bool reached = false; !reached;) {  // without a pause, to meet them before they sleep
    queue_lock_internal(queue);
    const queue_guard* const guard = queue_guard_of(queue);
    reached = guard->waiting_get + guard->waiting_put + guard->stepped_aside == threads;
    queue_unlock_internal(queue);
  }
}

struct Scene {
  int putters, getters;  // both: all are asleep
  int puts, gets;        // done just before the destroy
};

int dropped = 0;  // by destroying

/// Threads that get in before the queue is destroyed leave with an item, or refused; no item gets lost.
void destroyUnder(const Scene& scene) {
  queue_state* const queue = queue_create_limited(scene.putters > 0 ? 1 : 0);
  std::atomic<int> put = 0, taken = 0, refused = 0;
  std::vector<std::jthread> threads;
  const int inside = scene.putters + scene.getters;
  threads.reserve(static_cast<std::size_t>(inside));
  int held = 0;
  if (scene.putters > 0) held += queue_put(queue, item(1)) == QUEUE_OK;
  for (int i = 0; i < scene.putters; ++i) {
    threads.emplace_back([&] { ++(queue_put_wait(queue, item(2)) == QUEUE_OK ? put : refused); });
  }
  if (scene.putters > 0 && scene.getters > 0) {
    awaitBlocked(queue, 0, static_cast<unsigned>(scene.putters));
    queue_flush(queue);  // wakes nobody, so that getters can be blocked as well
    held = 0;
  }
  for (int i = 0; i < scene.getters; ++i) {
    threads.emplace_back([&] {
      void* out = item(99);
      const bool got = queue_get_wait(queue, &out) == QUEUE_OK;
      if (got == (out != nullptr)) ++(got ? taken : refused);
    });
  }
  awaitInside(queue, static_cast<unsigned>(inside));
  for (int i = 0; i < scene.puts; ++i) held += queue_put(queue, item(3)) == QUEUE_OK;
  void* out = nullptr;
  for (int i = 0; i < scene.gets; ++i) held -= queue_get(queue, &out) == QUEUE_OK;
  dropped = 0;
  ASSERT_EQ(queue_destroy_complete(queue, [](void*) { ++dropped; }), 0);
  threads.clear();
  ASSERT_EQ(put + taken + refused, inside);
  ASSERT_EQ(held + put, taken + dropped);
  ASSERT_LE(put, scene.gets);
}

TEST(QueueDestroyTest, WhoeverIsInsideLeavesFirst) {
  const Scene scenes[] = {{1, 0, 0, 0}, {0, 1, 0, 0}, {0, 3, 2, 0}, {3, 0, 0, 1}, {2, 2, 0, 0}};
  for (const Scene& scene : scenes) {
    const Watchdog watchdog;
    SCOPED_TRACE(testing::Message() << scene.putters << " putters, " << scene.getters << " getters");
    for (int round = 0; round < kRounds && !testing::Test::HasFailure(); ++round) destroyUnder(scene);
  }
}

TEST(QueueDestroyTest, TheConsumerThatFindsTheQueueClosedMayDestroyIt) {
  const Watchdog watchdog;
  for (int round = 0; round < kRounds; ++round) {
    queue_state* const queue = queue_create();
    std::jthread consumer([&] {
      void* out = nullptr;
      while (queue_get_wait(queue, &out) == QUEUE_OK) {
      }
      EXPECT_EQ(queue_destroy(queue), 0);
    });
    queue_put(queue, item(1));
    queue_set_new_data(queue, 0);
  }
}

/// Waits for a condition of its own with the mutex of a queue.
struct Bystander {
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  bool released = false;
  std::atomic<bool> waits = false;

  void wait(pthread_mutex_t* mutex) {
    pthread_mutex_lock(mutex);
    waits = true;
    while (!released) pthread_cond_wait(&condition, mutex);
    pthread_mutex_unlock(mutex);
  }
};

TEST(QueueDestroyTest, AMutexThatIsBusyIsTriedAgain) {
  if (kThreadSanitized) GTEST_SKIP() << "destroys a mutex that is waited with";
  const Watchdog watchdog;
  queue_state* const queue = queue_create();
  Bystander bystander;
  std::jthread thread([&, mutex = queue->mutex] { bystander.wait(mutex); });
  while (!bystander.waits) std::this_thread::yield();
  queue_put(queue, &bystander);  // once the wait has let the mutex go
  const auto release = [](void* item) {
    static_cast<Bystander*>(item)->released = true;
    pthread_cond_signal(&static_cast<Bystander*>(item)->condition);
  };
  EXPECT_EQ(queue_destroy_complete(queue, release), 0) << "the last result, not EBUSY";
}

}  // namespace
}  // namespace vantrel::tests
