#include "vantrel/buffers/TPCircularBuffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <numeric>
#include <vector>

// Beside the record itself, where the test framework looks for it.
static bool operator==(const TPCircularBuffer& a, const TPCircularBuffer& b) {
  return a.buffer == b.buffer && a.length == b.length && a.tail == b.tail && a.head == b.head &&
         a.fillCount == b.fillCount && a.atomic == b.atomic;
}

namespace {

using testing::MatchesRegex;

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

TEST(TPCircularBufferRecord, HasItsFieldsInTheAgreedOrder) {
  static_assert(offsetof(TPCircularBuffer, buffer) == 0);
  static_assert(offsetof(TPCircularBuffer, length) == sizeof(void*));
  static_assert(offsetof(TPCircularBuffer, tail) == sizeof(void*) + 4);
  static_assert(offsetof(TPCircularBuffer, head) == sizeof(void*) + 8);
  static_assert(offsetof(TPCircularBuffer, fillCount) == sizeof(void*) + 12);
  static_assert(offsetof(TPCircularBuffer, atomic) == sizeof(void*) + 16);
}

TEST_F(TPCircularBufferTest, RoundsUpToWholePages) {
  const std::int32_t page = pageSize();
  const struct {
    std::int32_t requested, length;
  } cases[] = {{1, page},
               {page - 1, page},
               {page, page},
               {page + 1, 2 * page},
               {10 * page - 1, 10 * page},
               {10 * page, 10 * page},
               {kMost - page, kMost - page + 1},
               {kMost - page + 1, kMost - page + 1}};
  for (const auto& each : cases) {
    SCOPED_TRACE(each.requested);
    TPCircularBuffer ring;
    std::memset(&ring, 0x5a, sizeof ring);
    ASSERT_TRUE(TPCircularBufferInit(&ring, each.requested));
    EXPECT_NE(ring.buffer, nullptr);
    EXPECT_EQ(ring, (TPCircularBuffer{ring.buffer, each.length, 0, 0, 0, true}));
    TPCircularBufferCleanup(&ring);
  }
}

TEST(TPCircularBufferInit, RefusesLengthsThatCannotBeAndTouchesNothing) {
  for (std::int32_t length : {0, -1, -4096, -kMost - 1, kMost - pageSize() + 2, kMost}) {
    SCOPED_TRACE(length);
    std::uint8_t byte = 0;
    const TPCircularBuffer before{&byte, 1, 2, 3, 4, true};
    TPCircularBuffer ring = before;
    testing::internal::CaptureStdout();
    EXPECT_FALSE(TPCircularBufferInit(&ring, length));
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(ring, before);
  }
}

TEST(TPCircularBufferInit, SaysWhatTheSystemRefused) {
  std::uint8_t byte = 0;
  TPCircularBuffer ring{&byte, 1, 2, 3, 4, false};
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  const rlimit none{0, before.rlim_max};
  testing::internal::CaptureStdout();
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  const bool made = TPCircularBufferInit(&ring, 1);
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
  EXPECT_FALSE(made);
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              MatchesRegex("TPCircularBuffer\\.c:[0-9]+: Buffer allocation: Too many open files\n"));
  EXPECT_EQ(ring, (TPCircularBuffer{&byte, pageSize(), 2, 3, 4, false}));
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
    TPCircularBufferCleanup(&ring);
    ASSERT_EQ(ring, TPCircularBuffer{});
    TPCircularBufferCleanup(&ring);
    ASSERT_EQ(ring, TPCircularBuffer{});
  }
  const auto [pages, descriptors] = inUse();
  EXPECT_LT(pages - pagesBefore, kRounds * kPages / 4);
  EXPECT_EQ(descriptors, descriptorsBefore);
}

/// Every place of the read offset that matters times every fill, in the mode of two threads and in that of
/// one.
TEST_F(TPCircularBufferTest, GivesTheRegionsOfEveryState) {
  const std::int32_t length = 2 * pageSize();
  make(length);
  const std::int32_t fills[] = {0, 1, 90, length / 2, length - 10, length - 1, length};
  for (bool atomic : {true, false}) {
    TPCircularBufferSetAtomic(&ring_, atomic);
    ASSERT_EQ(ring_.atomic, atomic);
    for (std::int32_t tail : {0, 1, length / 2, length - 10, length - 1}) {
      for (std::int32_t held : fills) {
        SCOPED_TRACE(testing::Message() << "atomic " << atomic << " tail " << tail << " held " << held);
        TPCircularBufferClear(&ring_);
        arrange((tail - ring_.tail + length) % length, held);
        const TPCircularBuffer state{ring_.buffer, length, tail, (tail + held) % length, held, atomic};
        ASSERT_EQ(ring_, state);

        std::int32_t space = -1, filled = -1;
        const std::uint8_t* to = TPCircularBufferWriteRegion(&ring_, &space);
        const std::uint8_t* from = TPCircularBufferReadRegion(&ring_, &filled);
        EXPECT_EQ(space, length - held);
        EXPECT_EQ(to, held == length ? nullptr : ring_.buffer + state.head);
        EXPECT_EQ(filled, held);
        EXPECT_EQ(from, held == 0 ? nullptr : ring_.buffer + tail);
        EXPECT_EQ(ring_, state) << "asking for regions changes nothing";

        TPCircularBufferProduce(&ring_, space);
        EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, tail, tail, length, atomic}));
        TPCircularBufferConsume(&ring_, length);
        EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, tail, tail, 0, atomic}));
        TPCircularBufferProduce(&ring_, 0);
        TPCircularBufferConsume(&ring_, 0);
        EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, tail, tail, 0, atomic}));
      }
    }
  }
}

TEST(TPCircularBufferRegions, AreNullWithoutMemory) {
  TPCircularBuffer ring{};
  std::int32_t space = -1, filled = -1;
  EXPECT_EQ(TPCircularBufferWriteRegion(&ring, &space), nullptr);
  EXPECT_EQ(TPCircularBufferReadRegion(&ring, &filled), nullptr);
  EXPECT_EQ(space, 0);
  EXPECT_EQ(filled, 0);
  TPCircularBufferClear(&ring);
  EXPECT_EQ(ring, TPCircularBuffer{});
}

TEST_F(TPCircularBufferTest, CountsPastTheSignedRangeInTheLargestRing) {
  const std::int32_t length = kMost - pageSize() + 1;
  make(length);
  arrange(length - 5, length - 1);
  EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, length - 5, length - 6, length - 1, true}));
  TPCircularBufferConsume(&ring_, length - 1);
  EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, length - 6, length - 6, 0, true}));
}

TEST_F(TPCircularBufferTest, MirrorsEveryByte) {
  make(3 * pageSize());
  const auto length = static_cast<std::size_t>(ring_.length);
  for (std::size_t i = 0; i < length; ++i) ring_.buffer[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
  EXPECT_EQ(std::memcmp(ring_.buffer, ring_.buffer + length, length), 0);
  for (std::size_t i = 0; i < length; ++i)
    ring_.buffer[length + i] = static_cast<std::uint8_t>(i * 11 + i / 13);
  EXPECT_EQ(std::memcmp(ring_.buffer, ring_.buffer + length, length), 0);
}

TEST_F(TPCircularBufferTest, WritesAcrossTheEndInOnePiece) {
  make(1);
  arrange(ring_.length - 10, 0);
  std::uint8_t bytes[100];
  std::iota(std::begin(bytes), std::end(bytes), 1);
  std::int32_t space = 0, filled = 0;
  std::memcpy(TPCircularBufferWriteRegion(&ring_, &space), bytes, sizeof bytes);
  TPCircularBufferProduce(&ring_, 100);
  EXPECT_EQ(ring_.head, 90);
  EXPECT_EQ(std::memcmp(ring_.buffer, bytes + 10, 90), 0);
  EXPECT_EQ(std::memcmp(TPCircularBufferReadRegion(&ring_, &filled), bytes, sizeof bytes), 0);
  EXPECT_EQ(filled, 100);
}

TEST_F(TPCircularBufferTest, ClearConsumesWhatIsHeld) {
  const std::int32_t length = pageSize();
  make(length);
  const struct {
    std::int32_t tail, held, tailAfter;
  } cases[] = {{0, 0, 0},          {0, 500, 500},  {7, 0, 7},     {length - 100, 500, 400},
               {length - 1, 1, 0}, {0, length, 0}, {9, length, 9}};
  for (const auto& each : cases) {
    SCOPED_TRACE(testing::Message() << "tail " << each.tail << " held " << each.held);
    arrange((each.tail - ring_.tail + length) % length, each.held);
    const std::int32_t head = ring_.head;
    TPCircularBufferClear(&ring_);
    EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, each.tailAfter, head, 0, true}));
    TPCircularBufferClear(&ring_);
    EXPECT_EQ(ring_, (TPCircularBuffer{ring_.buffer, length, each.tailAfter, head, 0, true}));
  }
}

using TPCircularBufferDeathTest = TPCircularBufferTest;

TEST_F(TPCircularBufferDeathTest, AForeignRecordStopsTheProcess) {
  for (std::size_t size : {std::size_t{0}, sizeof(TPCircularBuffer) - 8, sizeof(TPCircularBuffer) + 8}) {
    EXPECT_EXIT(_TPCircularBufferInit(&ring_, 1, size), testing::KilledBySignal(SIGABRT),
                "^TPCircularBuffer: Header version mismatch\\. Check for old versions of TPCircularBuffer in "
                "your project\n$");
  }
}

TEST_F(TPCircularBufferDeathTest, ProducingMoreThanFitsStopsTheProcess) {
  make(1);
  const char* message = "Assertion `buffer->fillCount <= buffer->length' failed";
  for (bool atomic : {true, false}) {
    TPCircularBufferSetAtomic(&ring_, atomic);
    TPCircularBufferClear(&ring_);
    arrange(5, 100);
    for (std::int32_t amount : {ring_.length - 99, ring_.length, kMost, -1, -101, -kMost - 1})
      EXPECT_EXIT(TPCircularBufferProduce(&ring_, amount), testing::KilledBySignal(SIGABRT), message)
          << amount;
  }
  TPCircularBuffer unmapped{};
  EXPECT_EXIT(TPCircularBufferProduce(&unmapped, 1), testing::KilledBySignal(SIGABRT), message);
}

TEST_F(TPCircularBufferDeathTest, ConsumingMoreThanIsHeldStopsTheProcess) {
  make(1);
  const char* message = "Assertion `buffer->fillCount >= 0' failed";
  for (bool atomic : {true, false}) {
    TPCircularBufferSetAtomic(&ring_, atomic);
    TPCircularBufferClear(&ring_);
    arrange(5, 100);
    for (std::int32_t amount : {101, ring_.length, kMost, -1, -kMost - 1})
      EXPECT_EXIT(TPCircularBufferConsume(&ring_, amount), testing::KilledBySignal(SIGABRT), message)
          << amount;
  }
  TPCircularBuffer unmapped{};
  EXPECT_EXIT(TPCircularBufferConsume(&unmapped, 1), testing::KilledBySignal(SIGABRT), message);
}

}  // namespace
