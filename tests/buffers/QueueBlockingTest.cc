// Blocking, with threads that are known to be asleep before anything is done to them.
#include <gmock/gmock.h>

#include <algorithm>
#include <functional>

#include "tests/buffers/QueueSupport.h"

namespace vantrel::tests {
namespace {

using testing::Each;

/// Threads that each do one blocking get or put of item 7, and what became of them.
class Blocked {
 public:
  Blocked(queue_state* queue, unsigned getters, unsigned putters) : results_(getters + putters, 99) {
    for (std::size_t i = 0; i < results_.size(); ++i) {
      threads_.emplace_back([this, queue, gets = i < getters, &result = results_[i]] {
        void* out = item(99);
        result = gets ? queue_get_wait(queue, &out) : queue_put_wait(queue, item(7));
        if (gets && (result == QUEUE_OK) == (out == nullptr)) result = 99;
      });
    }
    awaitBlocked(queue, getters, putters);
  }

  std::vector<int> join() {
    threads_.clear();
    return results_;
  }

 private:
  std::vector<int> results_;
  std::vector<std::jthread> threads_;
};

int get(queue_state* queue) {
  void* out = nullptr;
  return queue_get(queue, &out);
}

int filter(queue_state* queue, std::intptr_t selected) {
  void* out = nullptr;
  return queue_get_filtered(queue, &out, selectSame, item(selected));
}

TEST(QueueBlockingTest, WhoIsWokenByWhat) {
  using Queue = queue_state*;
  const struct {
    const char* name;
    unsigned getters, putters;  // blocked by an empty queue or by one full with 1 and 2
    std::function<int(Queue)> act;
    int result;
    unsigned woken;
    std::vector<std::intptr_t> left;
  } cases[] = {
      {"put", 3, 0, [](Queue q) { return queue_put(q, item(5)); }, QUEUE_OK, 1, {}},
      {"two puts", 3, 0, [](Queue q) { return queue_put(q, item(5)) + queue_put(q, item(6)); }, 0, 2, {}},
      {"flush_put, getters", 2, 0, [](Queue q) { return queue_flush_put(q, nullptr, item(5)); }, 0, 1, {}},
      {"opening, getters", 2, 0, [](Queue q) { return queue_set_new_data(q, 2); }, QUEUE_OK, 0, {}},
      {"get of nothing", 2, 0, get, QUEUE_ERR_COUNT, 0, {}},
      {"get", 0, 3, get, QUEUE_OK, 1, {2, 7}},
      {"two gets", 0, 3, [](Queue q) { return get(q) + get(q); }, QUEUE_OK, 2, {7, 7}},
      {"filtered get", 0, 3, [](Queue q) { return filter(q, 2); }, QUEUE_OK, 1, {1, 7}},
      {"filtered get of none", 0, 2, [](Queue q) { return filter(q, 4); }, QUEUE_ERR_NO_MATCH, 0, {1, 2}},
      {"refused put", 0, 2, [](Queue q) { return queue_put(q, item(5)); }, QUEUE_ERR_COUNT, 0, {1, 2}},
      {"opening, putters", 0, 2, [](Queue q) { return queue_set_new_data(q, 1); }, QUEUE_OK, 0, {1, 2}},
      {"flush", 0, 2, queue_flush, QUEUE_OK, 0, {}},
      {"flush_complete",
       0,
       2,
       [](Queue q) { return queue_flush_complete(q, [](void*) {}); },
       QUEUE_OK,
       0,
       {}},
      {"flush_put", 0, 2, [](Queue q) { return queue_flush_put(q, nullptr, item(5)); }, QUEUE_OK, 0, {5}},
      {"flush, then put and get",
       0,
       2,
       [](Queue q) { return queue_flush(q) + queue_put(q, item(5)) + get(q); },
       QUEUE_OK,
       1,
       {7}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    const QueueHandle queue(queue_create_limited(2));
    for (int i = 1; each.putters > 0 && i <= 2; ++i) queue_put(queue.get(), item(i));
    Blocked blocked(queue.get(), each.getters, each.putters);
    EXPECT_EQ(each.act(queue.get()), each.result);
    const unsigned woken = each.woken;
    awaitBlocked(queue.get(), each.getters - std::min(woken, each.getters),
                 each.putters - std::min(woken, each.putters));
    for (int i = 0; i < 100; ++i) std::this_thread::yield();  // for who should not have been woken
    EXPECT_EQ(contents(queue), each.left);

    EXPECT_EQ(queue_set_new_data(queue.get(), 0), QUEUE_OK);  // wakes all the others
    const std::vector<int> results = blocked.join();
    EXPECT_EQ(std::count(results.begin(), results.end(), QUEUE_OK), woken);
    EXPECT_EQ(std::count(results.begin(), results.end(), QUEUE_ERR_CLOSED), std::ssize(results) - woken);
    EXPECT_EQ(contents(queue), each.left) << "closing keeps the items";
  }
}

// A wait operation that says what was waited for and lets the world change in the meantime: what another
// thread could do while the mutex is free, here done with the mutex held.
using Change = void (*)(queue_state*);
std::vector<Change> changes;
std::vector<pthread_cond_t*> waits;
queue_state* waitedFor = nullptr;

int changeTheQueue(pthread_cond_t* condition, pthread_mutex_t*) {
  if (waits.size() < changes.size()) {
    changes[waits.size()](waitedFor);
  } else {
    waitedFor->new_data = 0;  // so that one who waits too often comes to an end
  }
  waits.push_back(condition);
  return 0;
}

TEST(QueueBlockingTest, EveryWakeUpLooksAtTheQueueAnew) {
  const Change nothing = [](queue_state*) {};
  const Change close = [](queue_state* queue) { queue->new_data = 0; };
  const Change makeRoom = [](queue_state* queue) { queue_flush_internal(queue, 0, nullptr); };
  const Change addItem = [](queue_state* queue) { queue_put_internal(queue, item(8), nullptr); };
  const Change makeRoomAndClose = [](queue_state* queue) {
    queue_flush_internal(queue, 0, nullptr);
    queue->new_data = 0;
  };
  const Change addItemAndClose = [](queue_state* queue) {
    queue_put_internal(queue, item(8), nullptr);
    queue->new_data = 0;
  };
  const struct {
    const char* name;
    bool put;
    std::vector<Change> changes;
    int result;
    std::vector<std::intptr_t> left;
  } cases[] = {
      {"put, closed", true, {nothing, nothing, close}, QUEUE_ERR_CLOSED, {1}},
      {"put, room", true, {nothing, makeRoom}, QUEUE_OK, {5}},
      {"put, closed with room", true, {makeRoomAndClose}, QUEUE_ERR_CLOSED, {}},
      {"get, closed", false, {nothing, nothing, close}, QUEUE_ERR_CLOSED, {}},
      {"get, an item", false, {nothing, addItem}, QUEUE_OK, {}},
      {"get, closed with an item", false, {nothing, addItemAndClose}, QUEUE_OK, {}},
  };
  for (const auto& each : cases) {
    SCOPED_TRACE(each.name);
    const QueueHandle queue(queue_create_limited(1));
    waits.clear();
    changes = each.changes;
    waitedFor = queue.get();
    if (each.put) queue_put(queue.get(), item(1));
    void* out = item(99);
    ASSERT_EQ(queue_lock_internal(queue.get()), QUEUE_OK);
    const int result = each.put ? queue_put_internal(queue.get(), item(5), changeTheQueue)
                                : queue_get_internal(queue.get(), &out, changeTheQueue, nullptr, nullptr);
    ASSERT_EQ(queue_unlock_internal(queue.get()), QUEUE_OK);
    EXPECT_EQ(result, each.result);
    EXPECT_EQ(waits.size(), each.changes.size());
    EXPECT_THAT(waits, Each(each.put ? queue->cond_put : queue->cond_get));
    EXPECT_EQ(contents(queue), each.left);
    if (!each.put) {
      EXPECT_EQ(number(out), result == QUEUE_OK ? 8 : 0);
    }
  }
}

}  // namespace
}  // namespace vantrel::tests
