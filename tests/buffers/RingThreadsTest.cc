#include <cstdlib>

#include "tests/buffers/RingTransfer.h"
#include "tests/support/Sanitizers.h"
#include "vantrel/buffers/TPCircularBuffer.h"

namespace vantrel::tests {
namespace {

// Through the first ring; RING_BYTES in the environment asks for as many as one has time for.
std::uint64_t bytes() {
  if (const char* const wanted = std::getenv("RING_BYTES")) return std::stoull(wanted);
  return kSanitized ? 50'000'000 : 250'000'000;
}

const RingTransfer kTransfers[] = {
    {65'536, bytes(), 1},
    {1, bytes() / 10, 2},
    {65'536, bytes() / 10, 5, 700, RingBytes::kMostAtOnce},
    {65'536, bytes() / 10, 6, RingBytes::kMostAtOnce, 700},
};

TEST(RingThreads, DeliverEveryByteInOrderThroughTheRingThatCopies) {
  for (const RingTransfer& transfer : kTransfers) transferThroughKWRing(transfer);
}

// Which keeps counts of its own.
TEST(RingThreads, DeliverEveryByteInOrderThroughTheMirroredBuffer) {
  for (const RingTransfer& transfer : kTransfers) {
    TPCircularBuffer ring{};
    ASSERT_TRUE(TPCircularBufferInit(&ring, transfer.ringSize));
    const auto put = [&](const void* source, std::uint32_t size) {
      std::int32_t space = 0;
      void* const to = TPCircularBufferWriteRegion(&ring, &space);
      const auto taken = std::min(size, static_cast<std::uint32_t>(space));
      if (taken > 0) std::memcpy(to, source, taken);
      TPCircularBufferProduce(&ring, static_cast<std::int32_t>(taken));
      return taken;
    };
    const auto get = [&](void* destination, std::uint32_t size) {
      std::int32_t filled = 0;
      const void* const from = TPCircularBufferReadRegion(&ring, &filled);
      const auto given = std::min(size, static_cast<std::uint32_t>(filled));
      if (given > 0) std::memcpy(destination, from, given);
      TPCircularBufferConsume(&ring, static_cast<std::int32_t>(given));
      return given;
    };
    transferThroughRing(transfer, put, get);
    TPCircularBufferCleanup(&ring);
  }
}

}  // namespace
}  // namespace vantrel::tests
