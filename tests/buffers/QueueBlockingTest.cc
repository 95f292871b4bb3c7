// Blocking, with threads that are known to be asleep before anything is done to them.
#include <gmock/gmock.h>

#include <algorithm>
#include <string_view>

#include "tests/buffers/QueueSupport.h"
#include "tests/support/Watchdog.h"

namespace vantrel::tests {
namespace {

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
    awaitBlocked(queue, getters, putters);
  }

  std::vector<std::int8_t> join() {
    threads_.clear();
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
    EXPECT_EQ(act(queue.get(), each.script), each.result);
    const unsigned woken = each.woken;
    awaitBlocked(queue.get(), each.getters - std::min(woken, each.getters),
                 each.putters - std::min(woken, each.putters));
    for (int i = 0; i < 100; ++i) std::this_thread::yield();  // for who should not have been woken
    EXPECT_EQ(contents(queue), each.left);

    EXPECT_EQ(queue_set_new_data(queue.get(), 0), QUEUE_OK);  // wakes all the others
    const std::vector<std::int8_t> results = blocked.join();
    EXPECT_EQ(std::count(results.begin(), results.end(), QUEUE_OK), woken);
    EXPECT_EQ(std::count(results.begin(), results.end(), QUEUE_ERR_CLOSED), std::ssize(results) - woken);
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

}  // namespace
}  // namespace vantrel::tests
