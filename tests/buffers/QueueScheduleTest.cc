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

namespace vantrel::tests {
namespace {

constexpr std::intptr_t kItemsOfAProducer = std::intptr_t{1} << 24;

std::intptr_t producerOf(const void* item) { return number(item) / kItemsOfAProducer; }

std::uint32_t chosenSeed() {
  const char* const text = std::getenv("QUEUE_SEED");
  return text ? static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10)) : std::random_device{}();
}

/// One queue with its threads. Items are counted by who holds them in the end: each is put once and taken
/// once, unless it was refused or flushed.
class Schedule {
 public:
  Schedule(std::uint32_t seed, int puts) : random_(seed), puts_(puts / producers_), queue_(create()) {
    for (int i = 0; i < producers_; ++i) fates_.emplace_back(static_cast<std::size_t>(puts_));
  }

  void run() {
    std::vector<std::jthread> consumers, producers;
    for (int i = 0; i < consumers_; ++i) {
      consumers.emplace_back([this, seed = random_()] { consume(seed); });
    }
    for (int i = 0; i < producers_; ++i) {
      producers.emplace_back([this, i, seed = random_()] { produce(i, seed); });
    }
    if (closesEarly_) {
      while (puttings_ < producers_ * puts_ / 2) std::this_thread::yield();
      queue_set_new_data(queue_, 0);
    }
    producers.clear();
    queue_set_new_data(queue_, 0);
    consumers.clear();
    EXPECT_EQ(queue_elements(queue_), 0) << "closed queues are drained";
    EXPECT_EQ(queue_destroy(queue_), 0);
    check();
  }

 private:
  enum Fate : std::uint8_t { kNever, kPut, kTaken, kRefused, kFlushed };

  [[nodiscard]] queue_state* create() const {
    if (order_ == 0) return queue_create_limited(maximum_);
    // A sorted queue without a limit would grow and with it the time that a put takes.
    return queue_create_limited_sorted(std::max<std::uint16_t>(maximum_, 1), order_ == 1, compareNumbers);
  }

  std::atomic<Fate>& fateOf(const void* item) {
    return fates_[static_cast<std::size_t>(producerOf(item))]
                 [static_cast<std::size_t>(number(item) % kItemsOfAProducer)];
  }

  void settle(const void* item, Fate to) {
    if (fateOf(item).exchange(to) != kPut) ++twice_;
  }

  void produce(std::intptr_t producer, std::uint32_t seed) {
    std::mt19937 random(seed);
    for (std::intptr_t i = 0; i < puts_; ++i, ++puttings_) {
      void* const put = item(producer * kItemsOfAProducer + i);
      fateOf(put) = kPut;
      const int result = putOne(put, random());
      if (result == QUEUE_ERR_CLOSED) {
        settle(put, kRefused);
      } else if (result != QUEUE_OK) {
        ++wrongCodes_;
      }
    }
  }

  int putOne(void* put, std::uint32_t choice) {
    // A flush alone could leave a producer asleep for good: it wakes nobody, and nothing to get would be
    // there.
    if (flushes_ && choice % 1024 == 0) {
      static thread_local Schedule* self;
      self = this;
      return queue_flush_complete_put(
          queue_, [](void* dropped) { self->settle(dropped, kFlushed); }, put);
    }
    const int result = choice % 4 == 1 ? queue_put(queue_, put) : +QUEUE_ERR_COUNT;
    return result == QUEUE_ERR_COUNT ? queue_put_wait(queue_, put) : result;
  }

  void consume(std::uint32_t seed) {
    std::mt19937 random(seed);
    // Of one producer a consumer sees later items later, as long as the queue has no order of its own.
    std::vector<std::intptr_t> newest(static_cast<std::size_t>(producers_), -1);
    while (true) {
      void* out = item(-1);
      const auto choice = random() % 8;
      std::int8_t result;
      if (choice == 0) {
        result = queue_get(queue_, &out);
      } else if (choice == 1) {
        void* const producer = item(static_cast<std::intptr_t>(random()) % producers_);
        result = queue_get_filtered(queue_, &out, selectProducer, producer);
        if (result == QUEUE_OK && producerOf(out) != number(producer)) ++wrongItems_;
      } else {
        result = queue_get_wait(queue_, &out);
      }
      if (result == QUEUE_ERR_CLOSED && choice > 1) return;
      if (result == QUEUE_OK) {
        settle(out, kTaken);
        std::intptr_t& last = newest[static_cast<std::size_t>(producerOf(out))];
        if (order_ == 0 && number(out) <= last) ++wrongItems_;
        last = number(out);
      } else if ((result != QUEUE_ERR_COUNT && result != QUEUE_ERR_NO_MATCH) || out || choice > 1) {
        ++wrongCodes_;
      }
    }
  }

  static int selectProducer(void** slot, void* producer) {
    return producerOf(*slot) == number(producer) ? 0 : 1;
  }

  void check() {
    EXPECT_EQ(twice_, 0) << "items that two threads got, or one that nobody put";
    EXPECT_EQ(wrongCodes_, 0);
    EXPECT_EQ(wrongItems_, 0) << "filtered or in the wrong order";
    std::int64_t lost = 0;
    for (const auto& fates : fates_) {
      for (const auto& fate : fates) {
        const bool allowed =
            fate == kTaken || (closesEarly_ && fate == kRefused) || (flushes_ && fate == kFlushed);
        lost += !allowed;
      }
    }
    EXPECT_EQ(lost, 0);
  }

  std::mt19937 random_;
  const int producers_ = 1 + static_cast<int>(random_() % 4);
  const int consumers_ = 1 + static_cast<int>(random_() % 4);
  const std::uint16_t maximum_ = static_cast<std::uint16_t>(random_() % 3 == 0 ? 0 : 1 + random_() % 40);
  const int order_ = static_cast<int>(random_() % 3);  // none, ascending, descending
  const bool closesEarly_ = random_() % 4 == 0;
  const bool flushes_ = random_() % 4 == 0;
  const std::intptr_t puts_;
  queue_state* queue_;
  std::vector<std::vector<std::atomic<Fate>>> fates_;
  std::atomic<std::int64_t> puttings_ = 0;
  std::atomic<int> twice_ = 0;
  std::atomic<int> wrongCodes_ = 0;
  std::atomic<int> wrongItems_ = 0;
};

TEST(QueueScheduleTest, EveryItemIsPutAndTakenOnce) {
  const std::uint32_t first = chosenSeed();
  const int schedules = std::getenv("QUEUE_SEED") ? 1 : 50;
  // Threads on a busy machine take turns slowly; it may do with fewer schedules.
  const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  for (int i = 0; i < schedules && (i < 5 || std::chrono::steady_clock::now() < patience); ++i) {
    const std::uint32_t seed = first + static_cast<std::uint32_t>(i);
    SCOPED_TRACE("QUEUE_SEED=" + std::to_string(seed));
    Schedule(seed, 10000).run();  // as many puts, and at least as many gets: a million operations in all
    if (HasFailure()) return;
  }
}

}  // namespace
}  // namespace vantrel::tests
