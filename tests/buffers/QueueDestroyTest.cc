// Destroying a queue from under threads that are blocked in it. The sanitizers see whoever touches it too
// late.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "tests/buffers/QueueSupport.h"

namespace vantrel::tests {
namespace {

constexpr int kRounds = 500;

/// Returns once so many threads are blocked or on the way there.
void awaitInside(queue_state* queue, unsigned threads) {
  for (bool reached = false; !reached;) {  // without a pause, to meet them before they sleep
    queue_lock_internal(queue);
    const queue_guard* const guard = queue_guard_of(queue);
    reached = guard->waiting_get + guard->waiting_put + guard->stepped_aside == threads;
    queue_unlock_internal(queue);
  }
}

TEST(QueueDestroyTest, BlockedGettersAndPuttersLeaveFirst) {
  for (int round = 0; round < kRounds; ++round) {
    queue_state* const queue = queue_create_limited(1);
    std::array<int, 4> results{};
    std::array<void*, 2> items{item(99), item(99)};
    std::vector<std::jthread> threads;
    queue_put(queue, item(1));
    for (std::size_t i : {0, 1}) {
      threads.emplace_back([&, i] { results[i] = queue_put_wait(queue, item(2)); });
    }
    awaitBlocked(queue, 0, 2);
    queue_flush(queue);  // wakes nobody, so that getters can be blocked as well
    for (std::size_t i : {0, 1}) {
      threads.emplace_back([&, i] { results[2 + i] = queue_get_wait(queue, &items[i]); });
    }
    awaitBlocked(queue, 2, 2);
    ASSERT_EQ(queue_destroy(queue), 0);
    threads.clear();
    for (const int result : results) ASSERT_EQ(result, QUEUE_ERR_CLOSED);
    for (const void* each : items) ASSERT_EQ(each, nullptr);
  }
}

TEST(QueueDestroyTest, GettersLeaveWithAnItemOrWithNone) {
  for (int round = 0; round < kRounds; ++round) {
    queue_state* const queue = queue_create();
    std::atomic<int> taken = 0;
    std::atomic<int> dropped = 0;
    static std::atomic<int>* counter;
    counter = &dropped;
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        void* out = item(99);
        const int result = queue_get_wait(queue, &out);
        if (result == QUEUE_OK && number(out) == 5) ++taken;
        if (result != QUEUE_OK && (result != QUEUE_ERR_CLOSED || out)) taken += 100;
      });
    }
    awaitInside(queue, 3);
    for (int i = 0; i < 2; ++i) queue_put(queue, item(5));
    ASSERT_EQ(queue_destroy_complete(queue, [](void*) { ++*counter; }), 0);
    threads.clear();
    ASSERT_EQ(taken + dropped, 2);
  }
}

TEST(QueueDestroyTest, PuttersThatWereLetInLeaveToo) {
  for (int round = 0; round < kRounds; ++round) {
    queue_state* const queue = queue_create_limited(1);
    std::atomic<int> put = 0;
    std::atomic<int> refused = 0;
    std::vector<std::jthread> threads;
    queue_put(queue, item(1));
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([&] {
        const int result = queue_put_wait(queue, item(2));
        put += result == QUEUE_OK;
        refused += result == QUEUE_ERR_CLOSED;
      });
    }
    awaitInside(queue, 3);
    void* out = nullptr;
    queue_get(queue, &out);
    ASSERT_EQ(queue_destroy(queue), 0);
    threads.clear();
    ASSERT_EQ(put + refused, 3);
    ASSERT_LE(put, 1) << "one was taken, so there was room for one";
  }
}

TEST(QueueDestroyTest, AThreadOnItsWayToWaitLeavesFirstToo) {
  for (int round = 0; round < kRounds; ++round) {
    queue_state* const queue = queue_create_limited(1);
    const bool puts = round % 2 == 0;
    if (puts) queue_put(queue, item(1));
    int result = 99;
    std::jthread thread([&] {
      void* out = nullptr;
      result = puts ? queue_put_wait(queue, item(2)) : queue_get_wait(queue, &out);
    });
    awaitInside(queue, 1);
    ASSERT_EQ(queue_destroy(queue), 0);
    thread.join();
    ASSERT_EQ(result, QUEUE_ERR_CLOSED);
  }
}

TEST(QueueDestroyTest, TheConsumerThatFindsTheQueueClosedMayDestroyIt) {
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

/// Waits on a condition of its own with the mutex of a queue.
struct Bystander {
  queue_state* queue;
  pthread_cond_t condition = PTHREAD_COND_INITIALIZER;
  bool waits = false;
  bool released = false;

  void run() {
    pthread_mutex_t* const mutex = queue->mutex;
    pthread_mutex_lock(mutex);
    waits = true;
    while (!released) pthread_cond_wait(&condition, mutex);
    pthread_mutex_unlock(mutex);
  }
  [[nodiscard]] bool isWaiting() const {
    queue_lock_internal(queue);
    const bool result = waits;
    queue_unlock_internal(queue);
    return result;
  }
};

TEST(QueueDestroyTest, AMutexThatIsBusyIsTriedAgain) {
  if (kMutexesAreWatched) GTEST_SKIP() << "destroys a mutex that is waited with";
  queue_state* const queue = queue_create();
  Bystander bystander{queue};
  std::jthread thread([&] { bystander.run(); });
  while (!bystander.isWaiting()) std::this_thread::yield();
  queue_put(queue, &bystander);
  const auto release = [](void* item) {
    auto* const waiting = static_cast<Bystander*>(item);
    waiting->released = true;
    pthread_cond_signal(&waiting->condition);
  };
  EXPECT_EQ(queue_destroy_complete(queue, release), 0) << "the last result, not EBUSY";
}

}  // namespace
}  // namespace vantrel::tests
