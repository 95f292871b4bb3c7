// A bounded queue of pointers between threads, beside what a user would pick instead. The size is the number
// of producers and of consumers; every round passes a fixed number of items through a queue of 100.
#include <benchmark/benchmark.h>
#include <boost/thread/sync_bounded_queue.hpp>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

#include "vantrel/buffers/queue.h"

namespace {

constexpr std::uint16_t kCapacity = 100;
constexpr std::int64_t kItems = 80000;

class Vantrel {
 public:
  Vantrel() : queue_(queue_create_limited(kCapacity)) {}
  ~Vantrel() { queue_destroy(queue_); }
  Vantrel(const Vantrel&) = delete;
  void put(void* item) { queue_put_wait(queue_, item); }
  void* get() {
    void* item;
    queue_get_wait(queue_, &item);
    return item;
  }

 private:
  queue_state* queue_;
};

class BoostSync {
 public:
  void put(void* item) { queue_.push_back(item); }
  void* get() { return queue_.pull_front(); }

 private:
  boost::sync_bounded_queue<void*> queue_{kCapacity};
};

/// What one writes by hand.
class LockedDeque {
 public:
  void put(void* item) {
    std::unique_lock lock(mutex_);
    notFull_.wait(lock, [&] { return items_.size() < kCapacity; });
    items_.push_back(item);
    notEmpty_.notify_one();
  }
  void* get() {
    std::unique_lock lock(mutex_);
    notEmpty_.wait(lock, [&] { return !items_.empty(); });
    void* const item = items_.front();
    items_.pop_front();
    notFull_.notify_one();
    return item;
  }

 private:
  std::mutex mutex_;
  std::condition_variable notEmpty_;
  std::condition_variable notFull_;
  std::deque<void*> items_;
};

template <typename Queue>
void putGet(benchmark::State& state) {
  Queue queue;
  int thing = 0;
  for (auto _ : state) {
    queue.put(&thing);
    benchmark::DoNotOptimize(queue.get());
  }
}

template <typename Queue>
void pass(benchmark::State& state) {
  const std::int64_t pairs = state.range(0);
  int thing = 0;
  for (auto _ : state) {
    Queue queue;
    std::vector<std::jthread> threads;
    for (std::int64_t i = 0; i < pairs; ++i) {
      threads.emplace_back([&] {
        for (std::int64_t k = 0; k < kItems / pairs; ++k) queue.put(&thing);
      });
      threads.emplace_back([&] {
        for (std::int64_t k = 0; k < kItems / pairs; ++k) benchmark::DoNotOptimize(queue.get());
      });
    }
    threads.clear();  // joins them while the queue is there
  }
  state.SetItemsProcessed(state.iterations() * kItems);
}

[[maybe_unused]] const bool kRegistered = [] {
  const auto between = [](const char* name, auto body) {
    benchmark::RegisterBenchmark(name, body)->Arg(1)->Arg(4)->UseRealTime()->Unit(benchmark::kMillisecond);
  };
  benchmark::RegisterBenchmark("BM_QueuePutGet/vantrel", putGet<Vantrel>);
  benchmark::RegisterBenchmark("BM_QueuePutGet/boost", putGet<BoostSync>);
  benchmark::RegisterBenchmark("BM_QueuePutGet/deque", putGet<LockedDeque>);
  between("BM_QueuePass/vantrel", pass<Vantrel>);
  between("BM_QueuePass/boost", pass<BoostSync>);
  between("BM_QueuePass/deque", pass<LockedDeque>);
  return true;
}();

}  // namespace
