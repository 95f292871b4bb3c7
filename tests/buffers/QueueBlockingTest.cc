// Blocking, with threads that are known to be asleep before anything is done to them, and destroying a queue
// from under such threads: the sanitizers see whoever touches it too late.
#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <string_view>

#include "tests/buffers/QueueSupport.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/Watchdog.h"

namespace vantrel::tests {
namespace {

using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;

/// Threads that each do one blocking get or put of item 7, and what became of them.
class Blocked {
 public:
  Blocked(queue_state* queue, unsigned getters, unsigned putters) : results_(getters + putters, 99) {
    for (std::size_t i = 0; i < results_.size(); ++i) {
      threads_.emplace_back([queue, gets = i < getters, &result = results_[i]] {
        void* out = item(99);
        result = gets ? queue_get_wait(queue, &out) : queue_put_wait(queue, item(7));
        if (gets && (result == QUEUE_OK) == (out == nullptr)) result = 99;
      });
    }
  }

  /// The results, each of which is that of a success or of a closed queue.
  std::vector<std::int8_t> join() {
    threads_.clear();
    EXPECT_THAT(results_, Each(AnyOf(QUEUE_OK, QUEUE_ERR_CLOSED)));
    return results_;
  }

 private:
  std::vector<std::int8_t> results_;
  std::vector<std::jthread> threads_;
};

/// Does what the letters say: Put, Get, get a number, Open, Flush, flUsh and put. The results add up.
int act(queue_state* queue, std::string_view script) {
  int result = 0;
  for (const char letter : script) {
    void* out = nullptr;
    if (letter == 'P') result += queue_put(queue, item(5));
    if (letter == 'G') result += queue_get(queue, &out);
    if (letter < 'A') result += queue_get_filtered(queue, &out, selectSame, item(letter - '0'));
    if (letter == 'O') result += queue_set_new_data(queue, 2);
    if (letter == 'F') result += queue_flush(queue);
    if (letter == 'U') result += queue_flush_put(queue, nullptr, item(5));
  }
  return result;
}

TEST(QueueBlockingTest, WhoIsWokenByWhat) {
  const struct {
    const char* script;
    unsigned getters, putters;  // blocked by an empty queue or by one full with 1 and 2
    int result;
    unsigned woken;
    std::vector<std::intptr_t> left;
  } cases[] = {
      {"P", 3, 0, QUEUE_OK, 1, {}},
      {"PP", 3, 0, QUEUE_OK, 2, {}},
      {"U", 2, 0, QUEUE_OK, 1, {}},
      {"O", 2, 0, QUEUE_OK, 0, {}},
      {"G", 2, 0, QUEUE_ERR_COUNT, 0, {}},
      {"G", 0, 3, QUEUE_OK, 1, {2, 7}},
      {"GG", 0, 3, QUEUE_OK, 2, {7, 7}},
      {"2", 0, 3, QUEUE_OK, 1, {1, 7}},
      {"4", 0, 2, QUEUE_ERR_NO_MATCH, 0, {1, 2}},
      {"P", 0, 2, QUEUE_ERR_COUNT, 0, {1, 2}},
      {"O", 0, 2, QUEUE_OK, 0, {1, 2}},
      {"F", 0, 2, QUEUE_OK, 0, {}},
      {"U", 0, 2, QUEUE_OK, 0, {5}},
      {"FPG", 0, 2, QUEUE_OK, 1, {7}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << each.script << " with " << each.getters << " getters");
    const Watchdog watchdog;
    const QueueHandle queue(queue_create_limited(2));
    for (int i = 1; each.putters > 0 && i <= 2; ++i) queue_put(queue.get(), item(i));
    Blocked blocked(queue.get(), each.getters, each.putters);
    awaitBlocked(queue.get(), each.getters, each.putters);
    EXPECT_EQ(act(queue.get(), each.script), each.result);
    const unsigned woken = each.woken;
    awaitBlocked(queue.get(), each.getters - std::min(woken, each.getters),
                 each.putters - std::min(woken, each.putters));
    for (int i = 0; i < 100; ++i) std::this_thread::yield();  // for who should not have been woken
    EXPECT_EQ(contents(queue), each.left);

    EXPECT_EQ(queue_set_new_data(queue.get(), 0), QUEUE_OK);  // wakes all the others
    EXPECT_EQ(std::ranges::count(blocked.join(), QUEUE_OK), woken);
    EXPECT_EQ(contents(queue), each.left) << "closing keeps the items";
  }
}

// A wait operation that is woken for nothing at first; then another thread has filled or emptied the queue,
// which it could do while the mutex is free, or closed it, or both.
struct WakeUp {
  queue_state* queue;
  bool changes, closes;
  std::vector<pthread_cond_t*> waits = {};
} wakeUp;

int wait(pthread_cond_t* condition, pthread_mutex_t*) {
  wakeUp.waits.push_back(condition);
  queue_state* const queue = wakeUp.queue;
  if (wakeUp.waits.size() < 2) return 0;
  if (wakeUp.changes && queue->count > 0) {
    queue_flush_internal(queue, 0, nullptr);
  } else if (wakeUp.changes) {
    queue_put_internal(queue, item(8), nullptr);
  }
  if (wakeUp.closes) queue->new_data = 0;
  return 0;
}

TEST(QueueBlockingTest, EveryWakeUpLooksAtTheQueueAnew) {
  const struct {
    bool puts, changes, closes;
    int result;
    std::vector<std::intptr_t> left;
  } cases[] = {
      {true, false, true, QUEUE_ERR_CLOSED, {1}}, {true, true, false, QUEUE_OK, {5}},
      {true, true, true, QUEUE_ERR_CLOSED, {}},   {false, false, true, QUEUE_ERR_CLOSED, {}},
      {false, true, false, QUEUE_OK, {}},         {false, true, true, QUEUE_OK, {}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << "case " << &each - cases);
    const QueueHandle queue(queue_create_limited(1));
    wakeUp = {queue.get(), each.changes, each.closes};
    if (each.puts) queue_put(queue.get(), item(1));
    void* out = item(99);
    ASSERT_EQ(queue_lock_internal(queue.get()), QUEUE_OK);
    EXPECT_EQ(each.puts ? queue_put_internal(queue.get(), item(5), wait)
                        : queue_get_internal(queue.get(), &out, wait, nullptr, nullptr),
              each.result);
    ASSERT_EQ(queue_unlock_internal(queue.get()), QUEUE_OK);
    pthread_cond_t* const condition = each.puts ? queue->cond_put : queue->cond_get;
    EXPECT_THAT(wakeUp.waits, ElementsAre(condition, condition));
    EXPECT_EQ(contents(queue), each.left);
    if (!each.puts) {
      EXPECT_EQ(number(out), each.changes ? 8 : 0);
    }
  }
}

constexpr int kRounds = 150;

/// Returns once so many threads are blocked or on the way there.
void awaitInside(queue_state* queue, unsigned threads) {
  bool reached = false;
  for (int turn = 1; !reached; ++turn) {  // with hardly a pause, to meet them before they sleep
    if (turn % 50 == 0) std::this_thread::yield();
    queue_lock_internal(queue);
    const queue_guard* const guard = queue_guard_of(queue);
    reached = guard->waiting_get + guard->waiting_put + guard->stepped_aside == threads;
    queue_unlock_internal(queue);
  }
}

// Whoever gets in before the queue is destroyed leaves with an item, or refused; no item gets lost.
TEST(QueueDestroyTest, WhoeverIsInsideLeavesFirst) {
  static int dropped;
  const struct {
    unsigned getters, putters;  // both: all are asleep
    const char* script;         // just before the destroy
    int held;                   // with what the script puts and gets
  } cases[] = {{0, 1, "", 1}, {1, 0, "", 0}, {3, 0, "PP", 2}, {0, 3, "G", 0}, {2, 2, "", 0}};
  for (const auto& [getters, putters, script, held] : cases) {
    SCOPED_TRACE(testing::Message() << putters << " putters, " << getters << " getters");
    const Watchdog watchdog;
    for (int round = 0; round < kRounds && !HasFailure(); ++round) {
      queue_state* const queue = queue_create_limited(putters > 0 ? 1 : 0);
      if (putters > 0) queue_put(queue, item(1));
      Blocked putting(queue, 0, putters);
      if (putters > 0 && getters > 0) {
        awaitBlocked(queue, 0, putters);
        queue_flush(queue);  // wakes nobody, so that getters can be blocked as well
      }
      Blocked getting(queue, getters, 0);
      awaitInside(queue, getters + putters);
      EXPECT_EQ(act(queue, script), QUEUE_OK);
      dropped = 0;
      EXPECT_EQ(queue_destroy_complete(queue, [](void*) { ++dropped; }), 0);
      const auto put = std::ranges::count(putting.join(), QUEUE_OK),
                 taken = std::ranges::count(getting.join(), QUEUE_OK);
      EXPECT_EQ(held + put, taken + dropped);
      EXPECT_LE(put, script == std::string_view("G") ? 1 : 0);
    }
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
