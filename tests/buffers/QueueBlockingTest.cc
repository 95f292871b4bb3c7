// Blocking, with threads that are known to be asleep before anything is done to them.
#include <gmock/gmock.h>

#include <atomic>
#include <vector>

#include "tests/buffers/QueueSupport.h"

namespace vantrel::tests {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

struct Taken {
  int result = 99;
  void* item = tests::item(99);
};

/// Threads that each do one blocking get or put.
class Blocked {
 public:
  explicit Blocked(queue_state* queue) : queue_(queue), taken_(8), put_(8, 99) {}

  void get(std::size_t index) {
    threads_.emplace_back([this, index] {
      Taken& taken = taken_[index];
      taken.result = queue_get_wait(queue_, &taken.item);
    });
  }
  void put(std::size_t index, std::intptr_t number) {
    threads_.emplace_back([this, index, number] { put_[index] = queue_put_wait(queue_, item(number)); });
  }
  void join() { threads_.clear(); }

  [[nodiscard]] const Taken& taken(std::size_t index) const { return taken_[index]; }
  [[nodiscard]] int putResult(std::size_t index) const { return put_[index]; }

 private:
  queue_state* queue_;
  std::vector<Taken> taken_;
  std::vector<int> put_;
  std::vector<std::jthread> threads_;
};

TEST(QueueBlockingTest, APutWakesAGetter) {
  const QueueHandle queue(queue_create());
  Blocked blocked(queue.get());
  blocked.get(0);
  awaitBlocked(queue.get(), 1, 0);
  EXPECT_EQ(queue_put(queue.get(), item(5)), QUEUE_OK);
  blocked.join();
  EXPECT_EQ(blocked.taken(0).result, QUEUE_OK);
  EXPECT_EQ(number(blocked.taken(0).item), 5);
}

TEST(QueueBlockingTest, EachGetLetsOnePutterIn) {
  const QueueHandle queue(queue_create_limited(3));
  for (int i : {1, 2, 3}) queue_put(queue.get(), item(i));
  Blocked blocked(queue.get());
  for (std::size_t i = 0; i < 3; ++i) blocked.put(i, 4);
  awaitBlocked(queue.get(), 0, 3);
  for (unsigned left : {2U, 1U, 0U}) {
    void* out = nullptr;
    EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_OK);
    EXPECT_EQ(number(out), 3 - static_cast<int>(left));
    awaitBlocked(queue.get(), 0, left);
    while (queue_elements(queue.get()) != 3) std::this_thread::yield();
  }
  blocked.join();
  for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(blocked.putResult(i), QUEUE_OK);
  EXPECT_THAT(contents(queue.get()), ElementsAre(4, 4, 4));
}

TEST(QueueBlockingTest, AFilteredGetLetsAPutterInToo) {
  const QueueHandle queue(queue_create_limited(2));
  for (int i : {1, 2}) queue_put(queue.get(), item(i));
  Blocked blocked(queue.get());
  blocked.put(0, 3);
  awaitBlocked(queue.get(), 0, 1);
  void* out = nullptr;
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(7)), QUEUE_ERR_NO_MATCH);
  awaitBlocked(queue.get(), 0, 1);
  EXPECT_EQ(queue_get_filtered(queue.get(), &out, selectSame, item(2)), QUEUE_OK);
  blocked.join();
  EXPECT_EQ(blocked.putResult(0), QUEUE_OK);
  EXPECT_THAT(contents(queue.get()), ElementsAre(1, 3));
}

TEST(QueueBlockingTest, ClosingWakesEveryGetter) {
  const QueueHandle queue(queue_create());
  Blocked blocked(queue.get());
  for (std::size_t i = 0; i < 4; ++i) blocked.get(i);
  awaitBlocked(queue.get(), 4, 0);
  EXPECT_EQ(queue_set_new_data(queue.get(), 0), QUEUE_OK);
  blocked.join();
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(blocked.taken(i).result, QUEUE_ERR_CLOSED);
    EXPECT_EQ(blocked.taken(i).item, nullptr);
  }
}

TEST(QueueBlockingTest, ClosingWakesEveryPutterAndKeepsTheItems) {
  const QueueHandle queue(queue_create_limited(1));
  queue_put(queue.get(), item(1));
  Blocked blocked(queue.get());
  for (std::size_t i = 0; i < 4; ++i) blocked.put(i, 2);
  awaitBlocked(queue.get(), 0, 4);
  EXPECT_EQ(queue_set_new_data(queue.get(), 0), QUEUE_OK);
  blocked.join();
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(blocked.putResult(i), QUEUE_ERR_CLOSED);
  EXPECT_THAT(contents(queue.get()), ElementsAre(1));
}

TEST(QueueBlockingTest, OpeningAnOpenQueueWakesNobody) {
  const QueueHandle queue(queue_create());
  Blocked blocked(queue.get());
  blocked.get(0);
  awaitBlocked(queue.get(), 1, 0);
  EXPECT_EQ(queue_set_new_data(queue.get(), 1), QUEUE_OK);
  awaitBlocked(queue.get(), 1, 0);
  EXPECT_EQ(queue_put(queue.get(), item(5)), QUEUE_OK);
  blocked.join();
  EXPECT_EQ(number(blocked.taken(0).item), 5);
}

TEST(QueueBlockingTest, FlushingWakesNobody) {
  for (const bool complete : {false, true}) {
    const QueueHandle queue(queue_create_limited(2));
    for (int i : {1, 2}) queue_put(queue.get(), item(i));
    Blocked blocked(queue.get());
    blocked.put(0, 3);
    awaitBlocked(queue.get(), 0, 1);
    EXPECT_EQ(complete ? queue_flush_complete(queue.get(), [](void*) {}) : queue_flush(queue.get()),
              QUEUE_OK);
    EXPECT_THAT(contents(queue.get()), IsEmpty());
    // A get that finds nothing is none that wakes; nor does a put into the room that is there now.
    void* out = nullptr;
    EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_ERR_COUNT);
    EXPECT_EQ(queue_put(queue.get(), item(4)), QUEUE_OK);
    awaitBlocked(queue.get(), 0, 1);
    EXPECT_EQ(blocked.putResult(0), 99);
    EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_OK);
    EXPECT_EQ(number(out), 4);
    blocked.join();
    EXPECT_EQ(blocked.putResult(0), QUEUE_OK);
    EXPECT_THAT(contents(queue.get()), ElementsAre(3));
  }
}

TEST(QueueBlockingTest, FlushAndPutWakesOneGetterButNoPutter) {
  const QueueHandle queue(queue_create_limited(1));
  queue_put(queue.get(), item(1));
  Blocked blocked(queue.get());
  blocked.put(0, 2);
  awaitBlocked(queue.get(), 0, 1);
  EXPECT_EQ(queue_flush_put(queue.get(), nullptr, item(3)), QUEUE_OK);
  EXPECT_THAT(contents(queue.get()), ElementsAre(3));
  awaitBlocked(queue.get(), 0, 1);
  void* out = nullptr;
  EXPECT_EQ(queue_get(queue.get(), &out), QUEUE_OK);
  blocked.join();
  EXPECT_EQ(blocked.putResult(0), QUEUE_OK);
  EXPECT_THAT(contents(queue.get()), ElementsAre(2));
}

TEST(QueueBlockingTest, SeveralGettersShareTheItems) {
  const QueueHandle queue(queue_create());
  Blocked blocked(queue.get());
  for (std::size_t i = 0; i < 3; ++i) blocked.get(i);
  awaitBlocked(queue.get(), 3, 0);
  for (int i : {1, 2, 3}) queue_put(queue.get(), item(i));
  blocked.join();
  EXPECT_THAT((std::vector{number(blocked.taken(0).item), number(blocked.taken(1).item),
                           number(blocked.taken(2).item)}),
              UnorderedElementsAre(1, 2, 3));
}

// Wait operations that say what was waited for and let the world change in the meantime. What they may do is
// what another thread could while the mutex is free; so they leave it alone.
std::vector<pthread_cond_t*> waits;
queue_state* waitedFor = nullptr;

int closeAtTheThird(pthread_cond_t* condition, pthread_mutex_t*) {
  waits.push_back(condition);
  if (waits.size() == 3) waitedFor->new_data = 0;
  return 0;
}

int changeAtTheSecond(pthread_cond_t* condition, pthread_mutex_t*) {
  waits.push_back(condition);
  if (waits.size() < 2) return 0;
  if (condition == waitedFor->cond_put) {
    void* out = nullptr;
    EXPECT_EQ(queue_get_internal(waitedFor, &out, nullptr, nullptr, nullptr), QUEUE_OK);
  } else {
    EXPECT_EQ(queue_put_internal(waitedFor, item(8), nullptr), QUEUE_OK);
  }
  return 0;
}

int closeAndMakeRoom(pthread_cond_t* condition, pthread_mutex_t*) {
  waits.push_back(condition);
  waitedFor->new_data = 0;
  return queue_flush_internal(waitedFor, 0, nullptr);
}

int closeAndLeaveAnItem(pthread_cond_t* condition, pthread_mutex_t* mutex) {
  const int result = changeAtTheSecond(condition, mutex);
  if (waits.size() == 2) waitedFor->new_data = 0;
  return result;
}

TEST(QueueBlockingTest, EveryWakeUpLooksAtTheQueueAnew) {
  struct Case {
    const char* name;
    bool put;
    queue_wait wait;
    int result;
    std::size_t waits;
    std::vector<std::intptr_t> left;
  };
  const Case cases[] = {
      {"put, woken for nothing, then closed", true, closeAtTheThird, QUEUE_ERR_CLOSED, 3, {1}},
      {"get, woken for nothing, then closed", false, closeAtTheThird, QUEUE_ERR_CLOSED, 3, {}},
      {"put, room at the second wake-up", true, changeAtTheSecond, QUEUE_OK, 2, {5}},
      {"get, item at the second wake-up", false, changeAtTheSecond, QUEUE_OK, 2, {}},
      {"put, closed with room", true, closeAndMakeRoom, QUEUE_ERR_CLOSED, 1, {}},
      {"get, closed with an item", false, closeAndLeaveAnItem, QUEUE_OK, 2, {}},
  };
  for (const Case& each : cases) {
    const QueueHandle queue(queue_create_limited(1));
    waits.clear();
    waitedFor = queue.get();
    if (each.put) queue_put(queue.get(), item(1));
    void* out = item(99);
    ASSERT_EQ(queue_lock_internal(queue.get()), QUEUE_OK);
    const int result = each.put ? queue_put_internal(queue.get(), item(5), each.wait)
                                : queue_get_internal(queue.get(), &out, each.wait, nullptr, nullptr);
    ASSERT_EQ(queue_unlock_internal(queue.get()), QUEUE_OK);
    EXPECT_EQ(result, each.result) << each.name;
    EXPECT_EQ(waits.size(), each.waits) << each.name;
    EXPECT_THAT(waits, Each(each.put ? queue->cond_put : queue->cond_get)) << each.name;
    EXPECT_EQ(contents(queue.get()), each.left) << each.name;
    if (!each.put) {
      EXPECT_EQ(number(out), result == QUEUE_OK ? 8 : 0) << each.name;
    }
  }
}

}  // namespace
}  // namespace vantrel::tests
