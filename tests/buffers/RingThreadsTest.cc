#include <gtest/gtest.h>

#include <array>
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

TEST(RingThreads, DeliverEveryByteInOrderThroughARingMostlyEmpty) {
  transferThroughRing(65'536, kBytes / 10, 5, 700, RingBytes::kMostAtOnce);
}

TEST(RingThreads, DeliverEveryByteInOrderThroughARingMostlyFull) {
  transferThroughRing(65'536, kBytes / 10, 6, RingBytes::kMostAtOnce, 700);
}

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

/// Messages of one repeated number: cleaning may drop some of them, but what is got is whole and in order.
TEST(RingThreads, CleanBesideAProducerDropsWholePuts) {
  using Message = std::array<std::uint64_t, 8>;
  constexpr std::uint64_t kMessages = 300'000;
  KWRing ring;
  ASSERT_TRUE(ring.ringMakeSize(1));
  std::atomic<bool> done{false};
  std::thread producer([&] {
    Message message{};
    for (std::uint64_t i = 1; i <= kMessages; ++i) {
      message.fill(i);
      while (ring.ringUsable() < sizeof message) std::this_thread::yield();
      ring.ringPut_Size(&message, sizeof message);
    }
    done = true;
  });

  std::uint64_t last = 0, got = 0, wrong = 0;
  for (bool finished = false; !finished;) {
    finished = done;  // looked at first: what was put before is still taken out below
    Message message{}, expected{};
    while (std::uint32_t size = ring.ringGet_Size(&message, sizeof message)) {
      expected.fill(message[0]);
      if (size != sizeof message || message != expected || message[0] <= last) ++wrong;
      last = message[0];
      if (++got % 7 == 0) ring.ringClean();
    }
    std::this_thread::yield();
  }
  producer.join();
  EXPECT_EQ(wrong, 0U);
  EXPECT_GT(got, 0U);
  EXPECT_LE(last, kMessages);
  EXPECT_EQ(ring.ringUsable(), static_cast<std::uint32_t>(ring.len_total()));
  ring.ringRelease();
}

}  // namespace
}  // namespace vantrel
