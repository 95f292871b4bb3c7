// The byte ring beside what a user would pick instead. Sizes are of the pieces that are put and got. Every
// ring has 64 KiB and takes what it has space for.
#include <benchmark/benchmark.h>
#include <jack/ringbuffer.h>
#include <pthread.h>
#include <sched.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <boost/lockfree/spsc_queue.hpp>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <thread>
#include <vector>

#include "vantrel/buffers/KWRing.h"
#include "vantrel/buffers/TPCircularBuffer.h"

namespace {

constexpr std::size_t kRingSize = 65'536;
constexpr std::size_t kTransfer = 4 << 20;

struct Vantrel {
  Vantrel() { ring.ringMakeSize(kRingSize); }
  ~Vantrel() { ring.ringRelease(); }
  std::size_t put(const char* from, std::size_t size) {
    return ring.ringPut_Size(from, static_cast<std::uint32_t>(size));
  }
  std::size_t get(char* to, std::size_t size) {
    return ring.ringGet_Size(to, static_cast<std::uint32_t>(size));
  }
  vantrel::KWRing ring;
};

/// The mirrored buffer that our ring's memory is, used by itself: one count that both sides change under a
/// full barrier.
struct Mirrored {
  Mirrored() { TPCircularBufferInit(&ring, kRingSize); }
  ~Mirrored() { TPCircularBufferCleanup(&ring); }
  std::size_t put(const char* from, std::size_t size) {
    std::int32_t space = 0;
    std::uint8_t* to = TPCircularBufferWriteRegion(&ring, &space);
    if (!to) return 0;
    const std::size_t taken = std::min(size, static_cast<std::size_t>(space));
    std::memcpy(to, from, taken);
    TPCircularBufferProduce(&ring, static_cast<std::int32_t>(taken));
    return taken;
  }
  std::size_t get(char* to, std::size_t size) {
    std::int32_t filled = 0;
    const std::uint8_t* from = TPCircularBufferReadRegion(&ring, &filled);
    if (!from) return 0;
    const std::size_t given = std::min(size, static_cast<std::size_t>(filled));
    std::memcpy(to, from, given);
    TPCircularBufferConsume(&ring, static_cast<std::int32_t>(given));
    return given;
  }
  TPCircularBuffer ring{};
};

struct Boost {
  std::size_t put(const char* from, std::size_t size) { return ring.push(from, size); }
  std::size_t get(char* to, std::size_t size) { return ring.pop(to, size); }
  boost::lockfree::spsc_queue<char> ring{kRingSize};
};

struct Jack {
  ~Jack() { jack_ringbuffer_free(ring); }
  std::size_t put(const char* from, std::size_t size) { return jack_ringbuffer_write(ring, from, size); }
  std::size_t get(char* to, std::size_t size) { return jack_ringbuffer_read(ring, to, size); }
  jack_ringbuffer_t* ring = jack_ringbuffer_create(kRingSize);
};

/// For orientation: the two copies and nothing else, through memory of the same size.
struct Memcpy {
  std::size_t put(const char* from, std::size_t size) {
    std::memcpy(memory.data() + place, from, size);
    return size;
  }
  std::size_t get(char* to, std::size_t size) {
    std::memcpy(to, memory.data() + place, size);
    place = (place + size) % kRingSize;
    return size;
  }
  std::vector<char> memory = std::vector<char>(kRingSize);
  std::size_t place = 0;
};

template <typename Ring>
void oneThread(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  Ring ring;
  std::vector<char> source(size, 7), target(size);
  for (std::size_t i = 0; i < 2 * kRingSize; i += size) {  // every page is there before the clock starts
    ring.put(source.data(), size);
    ring.get(target.data(), size);
  }
  for (auto _ : state) {
    benchmark::DoNotOptimize(ring.put(source.data(), size));
    benchmark::DoNotOptimize(ring.get(target.data(), size));
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

/// Moves all of `total` in pieces of `size`; `move` puts or gets what it can of one.
template <typename Move>
void moveAll(std::size_t total, std::size_t size, Move move) {
  for (std::size_t moved = 0; moved < total; moved += size) {
    for (std::size_t done = 0; done < size;) {
      const std::size_t now = move(done, size - done);
      if (now == 0) std::this_thread::yield();
      done += now;
    }
  }
}

/// Keeps the calling thread on one processor as long as it lives: two threads that the system puts on the
/// same one, or moves about, make figures that differ tenfold.
class ScopedProcessor {
 public:
  explicit ScopedProcessor(int number) {
    pthread_getaffinity_np(pthread_self(), sizeof before_, &before_);
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(number, &one);
    pthread_setaffinity_np(pthread_self(), sizeof one, &one);  // refused: the thread runs where it may
  }
  ~ScopedProcessor() { pthread_setaffinity_np(pthread_self(), sizeof before_, &before_); }
  ScopedProcessor(const ScopedProcessor&) = delete;
  ScopedProcessor& operator=(const ScopedProcessor&) = delete;

 private:
  cpu_set_t before_{};
};

/// Seconds for one transfer between two running threads, the start of the second one not counted.
template <typename Ring>
double transferSeconds(Ring& ring, std::vector<char>& source, std::vector<char>& target) {
  const std::size_t size = source.size();
  std::atomic<bool> ready{false}, go{false};
  std::thread producer([&] {
    const ScopedProcessor own(1);
    ready = true;
    while (!go) std::this_thread::yield();
    moveAll(kTransfer, size, [&](std::size_t at, std::size_t n) { return ring.put(source.data() + at, n); });
  });
  while (!ready) std::this_thread::yield();
  const auto start = std::chrono::steady_clock::now();
  go = true;
  moveAll(kTransfer, size, [&](std::size_t at, std::size_t n) { return ring.get(target.data() + at, n); });
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  producer.join();
  return taken.count();
}

template <typename Ring>
void twoThreads(benchmark::State& state) {
  const auto size = static_cast<std::size_t>(state.range(0));
  const ScopedProcessor own(0);
  Ring ring;
  std::vector<char> source(size, 7), target(size);
  for (auto _ : state) {
    // Whoever else is on the machine stretches some transfers to a multiple; the median does not see it.
    std::array<double, 15> seconds{};
    for (double& each : seconds) each = transferSeconds(ring, source, target);
    std::ranges::nth_element(seconds, seconds.begin() + seconds.size() / 2);
    state.SetIterationTime(seconds[seconds.size() / 2]);
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kTransfer));
}

[[maybe_unused]] const bool kRegistered = [] {
  const auto one = [](const char* name, auto body) {
    benchmark::RegisterBenchmark(name, body)->Arg(256)->Arg(4096);
  };
  const auto two = [](const char* name, auto body) {
    benchmark::RegisterBenchmark(name, body)->Arg(256)->Arg(4096)->UseManualTime();
  };
  one("BM_RingOneThread/vantrel", oneThread<Vantrel>);
  one("BM_RingOneThread/mirrored", oneThread<Mirrored>);
  one("BM_RingOneThread/boost", oneThread<Boost>);
  one("BM_RingOneThread/jack", oneThread<Jack>);
  one("BM_RingOneThread/memcpy", oneThread<Memcpy>);
  two("BM_RingTwoThreads/vantrel", twoThreads<Vantrel>);
  two("BM_RingTwoThreads/mirrored", twoThreads<Mirrored>);
  two("BM_RingTwoThreads/boost", twoThreads<Boost>);
  two("BM_RingTwoThreads/jack", twoThreads<Jack>);
  return true;
}();

}  // namespace
