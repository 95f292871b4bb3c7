#include "tests/buffers/RingTransfer.h"
#include "tests/support/Sanitizers.h"
#include "vantrel/buffers/TPCircularBuffer.h"

namespace vantrel::tests {
namespace {

constexpr std::uint64_t kBytes = kSanitized ? 50'000'000 : 250'000'000;

/// The mirrored buffer with the copying calls of a KWRing, which keeps counts of its own.
class CopyingBuffer {
 public:
  bool ringMakeSize(std::int32_t size) { return TPCircularBufferInit(&buffer_, size); }
  void ringRelease() { TPCircularBufferCleanup(&buffer_); }

  std::uint32_t ringPut_Size(const void* source, std::uint32_t size) {
    std::int32_t space = 0;
    std::uint8_t* const to = TPCircularBufferWriteRegion(&buffer_, &space);
    const std::int32_t taken = std::min(static_cast<std::int32_t>(size), space);
    if (taken > 0) std::memcpy(to, source, static_cast<std::size_t>(taken));
    TPCircularBufferProduce(&buffer_, taken);
    return static_cast<std::uint32_t>(taken);
  }
  std::uint32_t ringGet_Size(void* destination, std::uint32_t size) {
    std::int32_t filled = 0;
    const std::uint8_t* const from = TPCircularBufferReadRegion(&buffer_, &filled);
    const std::int32_t given = std::min(static_cast<std::int32_t>(size), filled);
    if (given > 0) std::memcpy(destination, from, static_cast<std::size_t>(given));
    TPCircularBufferConsume(&buffer_, given);
    return static_cast<std::uint32_t>(given);
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

}  // namespace
}  // namespace vantrel::tests
