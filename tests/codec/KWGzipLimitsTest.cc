// How much KWGzip takes: its own limit, lengths that zlib cannot count, and memory that is not there.
#include <gmock/gmock.h>
#include <malloc.h>
#include <sys/mman.h>

#include <fstream>
#include <limits>
#include <memory>
#include <string>

#include "tests/codec/GzipStreams.h"
#include "tests/support/LogLines.h"
#include "tests/support/Sanitizers.h"
#include "tests/support/ScopedLimit.h"
#include "vantrel/codec/KWGzip.h"

namespace vantrel::tests {
namespace {

using testing::ElementsAre;
using testing::Optional;

constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();

/// Zero bytes that take no memory until they are looked at, with `front` in their place at the beginning.
Bytes vast(std::size_t size, const Bytes& front = Bytes()) {
  void* const memory =
      mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  const std::shared_ptr<void> owner(memory, [size](void* mapped) { munmap(mapped, size); });
  auto* const bytes = static_cast<std::uint8_t*>(memory);
  std::ranges::copy(front, bytes);
  return Bytes::sharing({bytes, size}, owner);
}

/// A line of /proc/self/status, in bytes.
std::uint64_t status(const std::string& name) {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);)
    if (line.starts_with(name + ":")) return std::stoull(line.substr(name.size() + 1)) << 10;
  throw std::runtime_error(name);
}

class KWGzipLimitsTest : public testing::Test {
 protected:
  ~KWGzipLimitsTest() override { KWGzip::setUncompressedLimit(KWGzip::kDefaultUncompressedLimit); }

  LogLines lines_;
};

TEST_F(KWGzipLimitsTest, AllowAGibibyteUntilAHostSaysOtherwise) {
  EXPECT_EQ(KWGzip::uncompressedLimit(), std::uint64_t{1} << 30);
  KWGzip::setUncompressedLimit(7);
  EXPECT_EQ(KWGzip::uncompressedLimit(), 7U);
}

TEST_F(KWGzipLimitsTest, AllowContentsOfJustThatSize) {
  // The sizes lie before, at and behind the points at which the room is enlarged.
  for (std::size_t size : {1U, 2U, 30U, 31U, 32U, 33U, 47U, 48U, 5000U, 100'000U}) {
    for (const Bytes& data : {zeros(size), noise(size)}) {
      const Bytes stream = deflated(data);
      for (std::uint64_t limit : {std::uint64_t{size}, std::uint64_t{size} + 1, kMost - 1, kMost}) {
        KWGzip::setUncompressedLimit(limit);
        EXPECT_THAT(KWGzip::uncompressZippedData(stream), Optional(data)) << size << ' ' << limit;
      }
      for (std::uint64_t limit : {std::uint64_t{0}, std::uint64_t{size} / 2, std::uint64_t{size} - 1}) {
        KWGzip::setUncompressedLimit(limit);
        EXPECT_EQ(KWGzip::uncompressZippedData(stream), std::nullopt) << size << ' ' << limit;
      }
    }
  }
  KWGzip::setUncompressedLimit(0);
  EXPECT_THAT(KWGzip::uncompressZippedData(deflated(Bytes())), Optional(Bytes()));
}

TEST_F(KWGzipLimitsTest, HoldTheMemoryOfABombDown) {
  ASSERT_THAT(KWGzip::uncompressZippedData(bombOfMebibytes(3)), Optional(zeros(3 * kMebibyte)))
      << "the bomb is a true stream";
  const Bytes bomb = bombOfMebibytes(4096);
  ASSERT_LT(bomb.size(), 5 * kMebibyte);
  KWGzip::setUncompressedLimit(64 * kMebibyte);
  // Whatever ran before: large memory is enlarged where it lies, and none that was given back is used again.
  mallopt(M_MMAP_THRESHOLD, 1 << 20);
  malloc_trim(0);
  std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins anew
  const std::uint64_t before = status("VmRSS");
  EXPECT_EQ(KWGzip::uncompressZippedData(bomb), std::nullopt);
  if (kSanitized) GTEST_SKIP() << "memory is not what it would be";
  EXPECT_LT(status("VmHWM"), before + 66 * kMebibyte);
  EXPECT_GT(status("VmHWM"), before + 60 * kMebibyte) << "it was unpacked so far";
}

TEST_F(KWGzipLimitsTest, RefuseInputThatZlibCannotCount) {
  const Bytes stream = deflated(wordy(100));
  for (std::uint64_t size : {std::uint64_t{1} << 32, (std::uint64_t{1} << 32) + 1, std::uint64_t{5} << 30}) {
    EXPECT_EQ(KWGzip::uncompressZippedData(vast(size, stream)), std::nullopt) << size;
    EXPECT_EQ(KWGzip::gzipData(vast(size)), std::nullopt) << size;
    EXPECT_THAT(
        lines_.take(),
        ElementsAre("+[KWGzip gzipData:]: Error: Can't compress an NSData object of 2^32 bytes or more"));
  }
}

// One and a half times such a size does not fit 32 bits; what is left of it may be next to nothing.
TEST_F(KWGzipLimitsTest, ReadStreamsWhoseFirstRoomWrapsAround) {
  KWGzip::setUncompressedLimit(kMebibyte);
  const Bytes stream = deflated(wordy(100'000));
  for (std::size_t size : {2'863'311'530U, 2'863'311'531U, 2'863'311'532U, 3'000'000'000U, 4'294'967'295U})
    EXPECT_THAT(KWGzip::uncompressZippedData(vast(size, stream)), Optional(wordy(100'000))) << size;
}

TEST_F(KWGzipLimitsTest, AreAlsoThoseOfMemory) {
  if (kSanitized) GTEST_SKIP() << "these allocators do not fail";
  const Bytes large = vast(3'000'000'000U, deflated(wordy(100)));
  const Bytes bomb = bombOfMebibytes(1024);
  std::optional<Bytes> packed, unpacked, unpackedUnlimited;
  {
    const ScopedLimit limit(RLIMIT_AS, status("VmSize") + 64 * kMebibyte);
    packed = KWGzip::gzipData(large);
    unpacked = KWGzip::uncompressZippedData(large.slice(0, 2'000'000'000U));
    KWGzip::setUncompressedLimit(kMost);
    unpackedUnlimited = KWGzip::uncompressZippedData(bomb);
  }
  EXPECT_EQ(packed, std::nullopt);
  EXPECT_THAT(lines_.take(),
              ElementsAre("+[KWGzip gzipData:]:zlib error while attempting compression: \"Memory could "
                          "not be allocated for processing.\" Message: \"(null)\""));
  EXPECT_EQ(unpacked, std::nullopt);
  EXPECT_EQ(unpackedUnlimited, std::nullopt);
}

}  // namespace
}  // namespace vantrel::tests
