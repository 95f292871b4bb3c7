#include "vantrel/buffers/TPCircularBuffer.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <utility>
#include <vector>

// Beside the record itself, where the test framework looks for it.
static bool operator==(const TPCircularBuffer& a, const TPCircularBuffer& b) {
  return a.buffer == b.buffer && a.length == b.length && a.tail == b.tail && a.head == b.head &&
         a.fillCount == b.fillCount && a.atomic == b.atomic;
}

namespace {

constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();

std::int32_t pageSize() { return static_cast<std::int32_t>(sysconf(_SC_PAGESIZE)); }

class TPCircularBufferTest : public testing::Test {
 protected:
  ~TPCircularBufferTest() override { TPCircularBufferCleanup(&ring_); }

  void make(std::int32_t length) { ASSERT_TRUE(TPCircularBufferInit(&ring_, length)); }

  /// Brings the ring to the given read offset and fill count.
  void arrange(std::int32_t tail, std::int32_t held) {
    TPCircularBufferProduce(&ring_, tail);
    TPCircularBufferConsume(&ring_, tail);
    TPCircularBufferProduce(&ring_, held);
  }

  TPCircularBuffer ring_{};
};

TEST(TPCircularBufferInit, RoundsUpToWholePagesOrTouchesNothing) {
  const std::int32_t page = pageSize(), largest = kMost - page + 1;
  for (const std::int32_t requested : {1, page, page + 1, 10 * page - 1, largest - 1, largest, largest + 1,
                                       kMost, 0, -1, -page, -kMost - 1}) {
    const bool possible = requested > 0 && requested <= largest;
    // The ring maps its memory twice: more than there are addresses of 32 bits.
    if (sizeof(void*) == 4 && possible && requested > 10 * page) continue;
    const std::int32_t length = possible ? (requested - 1) / page * page + page : 0;
    SCOPED_TRACE(requested);
    std::uint8_t byte = 0;
    const TPCircularBuffer before{&byte, 1, 2, 3, 4, false};
    TPCircularBuffer ring = before;
    testing::internal::CaptureStdout();
    ASSERT_EQ(TPCircularBufferInit(&ring, requested), length != 0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(ring, length == 0 ? before : (TPCircularBuffer{ring.buffer, length, 0, 0, 0, true}));
    if (length == 0) continue;
    EXPECT_NE(ring.buffer, &byte);
    TPCircularBufferCleanup(&ring);
  }
}

/// Addresses in use, in pages, and open descriptors.
std::pair<std::int64_t, std::ptrdiff_t> inUse() {
  std::int64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  const std::filesystem::directory_iterator descriptors("/proc/self/fd");
  return {pages, std::distance(begin(descriptors), end(descriptors))};
}

TEST(TPCircularBufferCleanup, GivesEverythingBack) {
  constexpr int kRounds = 500, kPages = 256;
  const auto [pagesBefore, descriptorsBefore] = inUse();
  for (int i = 0; i < kRounds; ++i) {
    TPCircularBuffer ring{};
    ASSERT_TRUE(TPCircularBufferInit(&ring, kPages * pageSize()));
    TPCircularBufferProduce(&ring, 1000);
    TPCircularBufferConsume(&ring, 10);
    for (int again = 0; again < 2; ++again) {
      TPCircularBufferCleanup(&ring);
      ASSERT_EQ(ring, TPCircularBuffer{});
    }
  }
  const auto [pages, descriptors] = inUse();
  EXPECT_LT(pages - pagesBefore, kRounds * kPages / 4);
  EXPECT_EQ(descriptors, descriptorsBefore);
}

/// Every place of the read offset that matters times every fill, in the mode of two threads and in that of
/// one: the counts, the regions, and bytes that are written and read in one piece across the end.
TEST_F(TPCircularBufferTest, GivesTheRegionsOfEveryState) {
  const std::int32_t length = 2 * pageSize();
  make(length);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length));
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  const auto record = [&](std::int32_t tail, std::int32_t head, std::int32_t held) {
    return TPCircularBuffer{ring_.buffer, length, tail, head % length, held, ring_.atomic};
  };
  for (bool atomic : {true, false}) {
    TPCircularBufferSetAtomic(&ring_, atomic);
    ASSERT_EQ(ring_.atomic, atomic);
    for (std::int32_t tail : {0, 1, length / 2, length - 10, length - 1}) {
      for (std::int32_t held : {0, 1, 90, length / 2, length - 10, length - 1, length}) {
        SCOPED_TRACE(testing::Message() << "atomic " << atomic << " tail " << tail << " held " << held);
        arrange((tail - ring_.tail + length) % length, held);
        ASSERT_EQ(ring_, record(tail, tail + held, held));

        std::int32_t space = -1, filled = -1;
        std::uint8_t* to = TPCircularBufferWriteRegion(&ring_, &space);
        const std::uint8_t* from = TPCircularBufferReadRegion(&ring_, &filled);
        EXPECT_EQ(space, length - held);
        EXPECT_EQ(to, held == length ? nullptr : ring_.buffer + ring_.head);
        EXPECT_EQ(filled, held);
        EXPECT_EQ(from, held == 0 ? nullptr : ring_.buffer + tail);
        EXPECT_EQ(ring_, record(tail, tail + held, held)) << "asking for regions changes nothing";

        if (to) std::memcpy(to, bytes.data(), static_cast<std::size_t>(space));
        TPCircularBufferProduce(&ring_, space);
        ASSERT_EQ(ring_, record(tail, tail, length));
        EXPECT_EQ(std::memcmp(ring_.buffer, ring_.buffer + length, bytes.size()), 0) << "mirrored";
        TPCircularBufferConsume(&ring_, held);
        ASSERT_EQ(ring_, record((tail + held) % length, tail, space));
        from = TPCircularBufferReadRegion(&ring_, &filled);
        EXPECT_EQ(filled, space);
        if (from) {
          EXPECT_EQ(std::memcmp(from, bytes.data(), static_cast<std::size_t>(space)), 0);
        }

        for (int i = 0; i < 2; ++i) {
          TPCircularBufferClear(&ring_);
          TPCircularBufferProduce(&ring_, 0);
          TPCircularBufferConsume(&ring_, 0);
          ASSERT_EQ(ring_, record(tail, tail, 0));
        }
      }
    }
  }
}

TEST_F(TPCircularBufferTest, CountsPastTheSignedRangeInTheLargestRing) {
  if (sizeof(void*) == 4) GTEST_SKIP() << "the ring maps its memory twice: more than there are addresses";
  const std::int32_t length = kMost - pageSize() + 1;
  make(length);
  arrange(length - 5, length - 1);
  EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, length - 5, length - 6, length - 1, true}));
  TPCircularBufferConsume(&ring_, length - 1);
  EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, length - 6, length - 6, 0, true}));
}

using TPCircularBufferDeathTest = TPCircularBufferTest;

TEST_F(TPCircularBufferDeathTest, AForeignRecordStopsTheProcess) {
  for (std::size_t size : {std::size_t{0}, sizeof(TPCircularBuffer) - 8, sizeof(TPCircularBuffer) + 8}) {
    EXPECT_EXIT(_TPCircularBufferInit(&ring_, 1, size), testing::KilledBySignal(SIGABRT),
                "^TPCircularBuffer: Header version mismatch\\. Check for old versions of TPCircularBuffer in "
                "your project\n$");
  }
}

TEST_F(TPCircularBufferDeathTest, MovingMoreThanTheRegionStopsTheProcess) {
  make(1);
  const struct {
    void (*move)(TPCircularBuffer*, std::int32_t);
    const char* message;
    std::vector<std::int32_t> amounts;  // of a ring that holds 100
  } cases[] = {
      {TPCircularBufferProduce,
       "Assertion `buffer->fillCount <= buffer->length' failed",
       {ring_.length - 99, kMost, -1, -101, -kMost - 1}},
      {TPCircularBufferConsume, "Assertion `buffer->fillCount >= 0' failed", {101, kMost, -1, -kMost - 1}},
  };
  for (bool atomic : {true, false}) {
    TPCircularBufferSetAtomic(&ring_, atomic);
    TPCircularBufferClear(&ring_);
    arrange(5, 100);
    for (const auto& each : cases) {
      for (std::int32_t amount : each.amounts)
        EXPECT_EXIT(each.move(&ring_, amount), testing::KilledBySignal(SIGABRT), each.message) << amount;
      TPCircularBuffer unmapped{};
      EXPECT_EXIT(each.move(&unmapped, 1), testing::KilledBySignal(SIGABRT), each.message);
    }
  }
}

}  // namespace
