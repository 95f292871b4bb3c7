#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "tests/support/RandomBytes.h"
#include "tests/support/Watchdog.h"
#include "vantrel/buffers/KWRing.h"

namespace vantrel::tests {

/// The bytes that go through a ring between two threads: random ones that start over after a prime number of
/// bytes, so that what is lost, doubled or swapped is seen, and stand in a row, so that checking is cheap.
class RingBytes {
 public:
  static constexpr std::uint32_t kMostAtOnce = 9000;

  RingBytes() : bytes_(randomBytes(kPeriod)) {
    const std::vector<std::uint8_t> again(bytes_.begin(), bytes_.begin() + kMostAtOnce);
    bytes_.insert(bytes_.end(), again.begin(), again.end());
  }

  /// The bytes from the given place in the stream on, at least kMostAtOnce.
  const std::uint8_t* from(std::uint64_t place) const { return bytes_.data() + place % kPeriod; }

 private:
  static constexpr std::size_t kPeriod = 65'537;
  std::vector<std::uint8_t> bytes_;
};

/// A size from 0 to `most`, often a small one.
inline std::uint32_t drawSize(std::minstd_rand& random, std::uint32_t most) {
  const auto drawn = static_cast<std::uint32_t>(random());
  return drawn / 4 % (drawn % 4 == 0 ? 32 : most + 1);
}

/// How much goes through a ring of which size. The side that moves more at a time is at the other one's
/// heels: the ring is mostly empty or mostly full.
struct RingTransfer {
  std::int32_t ringSize;
  std::uint64_t total;
  std::uint32_t seed;
  std::uint32_t mostPut = RingBytes::kMostAtOnce;
  std::uint32_t mostGet = RingBytes::kMostAtOnce;
};

/// One thread puts bytes in random sizes, this one gets and checks them; both say how many it were.
template <typename Put, typename Get>
void transferThroughRing(const RingTransfer& transfer, Put put, Get get) {
  SCOPED_TRACE(testing::Message() << "ring of " << transfer.ringSize << ", seed " << transfer.seed);
  const Watchdog watchdog(Watchdog::kSeconds + static_cast<unsigned>(transfer.total / 50'000'000));
  const RingBytes bytes;
  std::atomic<bool> wrong{false};

  std::thread producer([&] {
    std::minstd_rand random(transfer.seed);
    for (std::uint64_t sent = 0; sent < transfer.total && !wrong.load(std::memory_order_relaxed);) {
      const auto size = static_cast<std::uint32_t>(
          std::min<std::uint64_t>(drawSize(random, transfer.mostPut), transfer.total - sent));
      const std::uint32_t taken = put(bytes.from(sent), size);
      sent += taken;
      if (taken < size) std::this_thread::yield();
    }
  });

  std::minstd_rand random(transfer.seed + 1);
  std::vector<std::uint8_t> got(RingBytes::kMostAtOnce);
  std::uint64_t received = 0;
  while (received < transfer.total) {
    const std::uint32_t size = drawSize(random, transfer.mostGet);
    const std::uint32_t given = get(got.data(), size);
    wrong = given > size || std::memcmp(got.data(), bytes.from(received), given) != 0;
    if (wrong) break;
    received += given;
    if (given < size) std::this_thread::yield();
  }
  producer.join();
  EXPECT_FALSE(wrong) << "a byte is wrong among the " << RingBytes::kMostAtOnce << " after " << received;
  EXPECT_EQ(received, transfer.total);
}

inline void transferThroughKWRing(const RingTransfer& transfer) {
  KWRing ring;
  ASSERT_TRUE(ring.ringMakeSize(transfer.ringSize));
  transferThroughRing(
      transfer, [&](const void* from, std::uint32_t size) { return ring.ringPut_Size(from, size); },
      [&](void* to, std::uint32_t size) { return ring.ringGet_Size(to, size); });
  ring.ringRelease();
}

}  // namespace vantrel::tests
