#include <array>

#include "tests/buffers/RingTransfer.h"
#include "tests/buffers/Sanitizers.h"
#include "vantrel/buffers/TPCircularBuffer.h"

namespace vantrel {
namespace {

constexpr std::uint64_t kBytes = tests::kSanitized ? 100'000'000 : 1'000'000'000;

/// The mirrored buffer with the copying calls of a KWRing, which keeps counts of its own.
class CopyingBuffer {
 public:
  bool ringMakeSize(std::int32_t size) { return TPCircularBufferInit(&buffer_, size); }
  void ringRelease() { TPCircularBufferCleanup(&buffer_); }
  void ringClean() { TPCircularBufferClear(&buffer_); }

  std::uint32_t ringUsable() {
    std::int32_t space = 0;
    TPCircularBufferWriteRegion(&buffer_, &space);
    return static_cast<std::uint32_t>(space);
  }
  std::uint32_t ringPut_Size(const void* source, std::uint32_t size) {
    std::int32_t space = 0;
    std::uint8_t* const to = TPCircularBufferWriteRegion(&buffer_, &space);
    const std::uint32_t taken = std::min(size, static_cast<std::uint32_t>(space));
    if (taken > 0) std::memcpy(to, source, taken);
    TPCircularBufferProduce(&buffer_, static_cast<std::int32_t>(taken));
    return taken;
  }
  std::uint32_t ringGet_Size(void* destination, std::uint32_t size) {
    std::int32_t filled = 0;
    const std::uint8_t* const from = TPCircularBufferReadRegion(&buffer_, &filled);
    const std::uint32_t given = std::min(size, static_cast<std::uint32_t>(filled));
    if (given > 0) std::memcpy(destination, from, given);
    TPCircularBufferConsume(&buffer_, static_cast<std::int32_t>(given));
    return given;
  }

 private:
  TPCircularBuffer buffer_{};
};

template <typename Ring>
class RingThreads : public testing::Test {};

using Rings = testing::Types<KWRing, CopyingBuffer>;
TYPED_TEST_SUITE(RingThreads, Rings, );

TYPED_TEST(RingThreads, DeliverEveryByteInOrder) {
  const RingTransfer transfers[] = {
      {65'536, kBytes, 1},
      {1, kBytes / 10, 2},
      {65'536, kBytes / 10, 5, 700, RingBytes::kMostAtOnce},
      {65'536, kBytes / 10, 6, RingBytes::kMostAtOnce, 700},
  };
  for (const RingTransfer& transfer : transfers) transferThroughRing<TypeParam>(transfer);
}

/// Messages of one repeated number: cleaning may drop some of them, but what is got is whole and in order.
TYPED_TEST(RingThreads, CleanBesideAProducerDropsWholePuts) {
  using Message = std::array<std::uint64_t, 8>;
  constexpr std::uint64_t kMessages = 300'000;
  TypeParam ring;
  ASSERT_TRUE(ring.ringMakeSize(1));
  const std::uint32_t capacity = ring.ringUsable();
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
  EXPECT_EQ(ring.ringUsable(), capacity);
  ring.ringRelease();
}

}  // namespace
}  // namespace vantrel
