#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>

#include "tests/buffers/RingTransfer.h"
#include "vantrel/buffers/TPCircularBuffer.h"

namespace vantrel {
namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::uint64_t kBytes = 100'000'000;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr std::uint64_t kBytes = 100'000'000;
#else
constexpr std::uint64_t kBytes = 1'000'000'000;
#endif
#else
constexpr std::uint64_t kBytes = 1'000'000'000;
#endif

TEST(RingThreads, DeliverEveryByteInOrder) { transferThroughRing(65'536, kBytes, 1); }

TEST(RingThreads, DeliverEveryByteInOrderThroughOnePage) { transferThroughRing(1, kBytes / 10, 2); }

TEST(RingThreads, WriteAndReadInPlace) {
  TPCircularBuffer ring{};
  ASSERT_TRUE(TPCircularBufferInit(&ring, 16'384));
  const RingBytes bytes;
  const std::uint64_t total = kBytes / 10;
  std::atomic<bool> wrong{false};

  std::thread producer([&] {
    RingSizes sizes(3);
    for (std::uint64_t sent = 0; sent < total && !wrong.load(std::memory_order_relaxed);) {
      std::int32_t space = 0;
      std::uint8_t* to = TPCircularBufferWriteRegion(&ring, &space);
      const auto size = static_cast<std::int32_t>(
          std::min<std::uint64_t>(total - sent, std::min(sizes.next(), static_cast<std::uint32_t>(space))));
      if (size == 0) {
        std::this_thread::yield();
        continue;
      }
      std::memcpy(to, bytes.from(sent), static_cast<std::size_t>(size));
      TPCircularBufferProduce(&ring, size);
      sent += static_cast<std::uint64_t>(size);
    }
  });

  RingSizes sizes(4);
  std::uint64_t received = 0;
  while (received < total) {
    std::int32_t filled = 0;
    const std::uint8_t* from = TPCircularBufferReadRegion(&ring, &filled);
    const auto size = static_cast<std::int32_t>(std::min(sizes.next(), static_cast<std::uint32_t>(filled)));
    if (size == 0) {
      std::this_thread::yield();
      continue;
    }
    if (std::memcmp(from, bytes.from(received), static_cast<std::size_t>(size)) != 0) {
      wrong = true;
      break;
    }
    TPCircularBufferConsume(&ring, size);
    received += static_cast<std::uint64_t>(size);
  }
  producer.join();
  EXPECT_EQ(received, total);
  TPCircularBufferCleanup(&ring);
}

/// Clearing takes only what was there when it looked: the producer's count never runs ahead of the ring.
TEST(RingThreads, ClearBesideAProducerKeepsTheCountsRight) {
  TPCircularBuffer ring{};
  ASSERT_TRUE(TPCircularBufferInit(&ring, 1));
  constexpr int kPuts = 50'000;
  std::atomic<bool> done{false};
  std::thread producer([&] {
    for (int i = 0; i < kPuts;) {
      std::int32_t space = 0;
      if (!TPCircularBufferWriteRegion(&ring, &space) || space < 100) {
        std::this_thread::yield();
        continue;
      }
      TPCircularBufferProduce(&ring, 100);
      ++i;
    }
    done = true;
  });
  while (!done) TPCircularBufferClear(&ring);
  producer.join();
  TPCircularBufferClear(&ring);
  EXPECT_EQ(ring.fillCount, 0);
  EXPECT_EQ(ring.head, 100LL * kPuts % ring.length);
  EXPECT_EQ(ring.tail, ring.head);
  TPCircularBufferCleanup(&ring);
}

}  // namespace
}  // namespace vantrel
