// Many threads on one queue in schedules drawn from a seed. QUEUE_SEED in the environment repeats one of
// them.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/buffers/QueueSupport.h"
#include "tests/support/Watchdog.h"

namespace vantrel::tests {
namespace {

/// One queue with its threads. Item by item is counted where it ends: each is put once and then taken once,
/// or refused or flushed where that can be.
class Schedule {
 public:
  Schedule(std::uint32_t seed, int puts) : random_(seed), puts_(puts / producers_), queue_(create()) {}

  void run() {
    const Watchdog watchdog;
    std::vector<std::jthread> consumers, producers;
    for (int i = 0; i < consumers_; ++i)
      consumers.emplace_back([this, seed = random_()] { consume(std::mt19937(seed)); });
    for (int i = 0; i < producers_; ++i)
      producers.emplace_back([this, i, seed = random_()] { produce(i * puts_, std::mt19937(seed)); });
    if (closesEarly_) {
      while (puttings_ < producers_ * puts_ / 2) std::this_thread::yield();
      queue_set_new_data(queue_, 0);
    }
    producers.clear();
    queue_set_new_data(queue_, 0);
    consumers.clear();
    EXPECT_EQ(queue_elements(queue_), 0) << "closed queues are drained";
    EXPECT_EQ(queue_destroy(queue_), 0);
    EXPECT_TRUE(std::ranges::all_of(ends_, [](const auto& ends) { return ends == 1; })) << "lost or doubled";
    EXPECT_EQ(wrong_, 0) << "codes, filtered items, or the order of a producer's";
    EXPECT_TRUE(closesEarly_ || refused_ == 0);
  }

 private:
  [[nodiscard]] queue_state* create() const {
    if (order_ == 0) return queue_create_limited(maximum_);
    // A sorted queue without a limit would grow and with it the time that a put takes.
    return queue_create_limited_sorted(std::max<std::uint16_t>(maximum_, 1), order_ == 1, compareNumbers);
  }

  void end(const void* item) { ++ends_.at(static_cast<std::size_t>(number(item))); }

  void produce(std::intptr_t first, std::mt19937 random) {
    for (std::intptr_t i = first; i < first + puts_; ++i, ++puttings_) {
      const int result = putOne(item(i), random());
      if (result == QUEUE_ERR_CLOSED) end(item(i)), ++refused_;
      if (result != QUEUE_ERR_CLOSED && result != QUEUE_OK) ++wrong_;
    }
  }

  int putOne(void* put, std::uint32_t choice) {
    // A flush alone could leave a producer asleep for good: it wakes nobody, and nothing to get would be
    // there.
    if (flushes_ && choice % 1024 == 0) {
      static thread_local Schedule* self;
      self = this;
      return queue_flush_complete_put(
          queue_, [](void* dropped) { self->end(dropped); }, put);
    }
    const int result = choice % 4 == 1 ? queue_put(queue_, put) : +QUEUE_ERR_COUNT;
    return result == QUEUE_ERR_COUNT ? queue_put_wait(queue_, put) : result;
  }

  int getOne(void** out, std::uint32_t choice) {
    if (choice == 0) return queue_get(queue_, out);
    return choice == 1 ? queue_get_filtered(queue_, out, selectOdd, nullptr) : queue_get_wait(queue_, out);
  }

  void consume(std::mt19937 random) {
    // Of one producer a consumer sees later items later, as long as the queue has no order of its own.
    std::vector<std::intptr_t> newest(static_cast<std::size_t>(producers_), -1);
    while (true) {
      void* out = item(-1);
      const auto choice = random() % 8;
      const int result = getOne(&out, choice);
      if (result == QUEUE_ERR_CLOSED && choice > 1) return;
      if (result == QUEUE_OK) {
        end(out);
        std::intptr_t& last = newest[static_cast<std::size_t>(number(out) / puts_)];
        const bool selected = choice == 1;  // takes later items before earlier ones
        if (selected ? selectOdd(&out, nullptr) != 0 : order_ == 0 && number(out) <= last) ++wrong_;
        if (!selected) last = number(out);
      } else if ((result != QUEUE_ERR_COUNT && result != QUEUE_ERR_NO_MATCH) || out || choice > 1) {
        ++wrong_;
      }
    }
  }

  static int selectOdd(void** slot, void*) { return number(*slot) % 2 == 1 ? 0 : 1; }

  std::mt19937 random_;
  const int producers_ = 1 + static_cast<int>(random_() % 4);
  const int consumers_ = 1 + static_cast<int>(random_() % 4);
  const std::uint16_t maximum_ = static_cast<std::uint16_t>(random_() % 3 == 0 ? 0 : 1 + random_() % 40);
  const int order_ = static_cast<int>(random_() % 3);  // none, ascending, descending
  const bool closesEarly_ = random_() % 4 == 0;
  const bool flushes_ = random_() % 4 == 0;
  const std::intptr_t puts_;
  queue_state* queue_;
  std::vector<std::atomic<int>> ends_ =
      std::vector<std::atomic<int>>(static_cast<std::size_t>(producers_ * puts_));
  std::atomic<std::int64_t> puttings_ = 0;
  std::atomic<int> refused_ = 0, wrong_ = 0;
};

TEST(QueueScheduleTest, EveryItemIsPutAndTakenOnce) {
  const char* const chosen = std::getenv("QUEUE_SEED");
  std::uint32_t seed = chosen ? static_cast<std::uint32_t>(std::stoul(chosen)) : std::random_device{}();
  for (int schedules = chosen ? 1 : 25; schedules > 0 && !HasFailure(); --schedules, ++seed) {
    SCOPED_TRACE("QUEUE_SEED=" + std::to_string(seed));
    Schedule(seed, 3000).run();
  }
}

}  // namespace
}  // namespace vantrel::tests
