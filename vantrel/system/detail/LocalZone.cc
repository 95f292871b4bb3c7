#include "vantrel/system/detail/LocalZone.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <optional>
#include <string_view>

#include "vantrel/base/Mutex.h"

namespace vantrel::system::detail {
namespace {

// Time is remembered in blocks of three days, and those in which the zone changes in blocks of half an
// hour. A long one holds one change at most, so equal offsets at both ends hold in between: in the whole
// time-zone database no two changes of one zone are closer than 344,400 seconds (Freetown, September 1939).
constexpr int kLongBits = 18;
constexpr int kShortBits = 11;

// More than any offset (POSIX allows 24:59:59 and an hour of daylight saving), and twice it is less than the
// distance of two changes.
constexpr std::int64_t kFarthestOffset = 100'000;

// What is known of a block is one word, which threads read and write without a lock: the generation (1 up),
// the block's number with its kind, and the offset, or that it changes within.
constexpr int kGenerationShift = 48;
constexpr std::uint64_t kLastGeneration = 0xffff;
constexpr int kBlockShift = 18;
constexpr std::uint64_t kBlockMask = (std::uint64_t{1} << (kGenerationShift - kBlockShift)) - 1;
constexpr std::uint64_t kOffsetMask = (std::uint64_t{1} << kBlockShift) - 1;
constexpr std::int32_t kOffsetBias = 1 << 17;
constexpr std::uint64_t kChanges = 0;

constinit std::array<std::atomic<std::uint64_t>, 4096> knownBlocks{};

constinit Mutex zoneMutex;                       // for who changes the zone; reading takes none
constinit std::atomic<std::size_t> zoneName{0};  // hash of TZ in force, 0 before the first use
constinit std::atomic<std::uint64_t> zoneGeneration{0};

std::int32_t askSystem(std::int64_t moment) {
  const std::time_t time = moment;
  std::tm fields{};
  return localtime_r(&time, &fields) ? static_cast<std::int32_t>(fields.tm_gmtoff) : 0;
}

// The offset that holds for the moment's whole block; absent when it changes within.
template <int kBits>
std::optional<std::int32_t> offsetOfBlock(std::int64_t moment, std::uint64_t generation) {
  const std::int64_t number = moment >> kBits;
  const std::uint64_t block = (static_cast<std::uint64_t>(number) << 1 | (kBits == kShortBits)) & kBlockMask;
  const std::uint64_t key = generation << (kGenerationShift - kBlockShift) | block;
  auto& slot = knownBlocks[block % knownBlocks.size()];
  std::uint64_t known = slot.load(std::memory_order_relaxed);
  if (known >> kBlockShift != key) {
    const std::int32_t first = askSystem(number << kBits);
    const std::int32_t last = askSystem(((number + 1) << kBits) - 1);
    const auto offset = first == last ? static_cast<std::uint64_t>(first + kOffsetBias) : kChanges;
    known = key << kBlockShift | offset;
    slot.store(known, std::memory_order_relaxed);
  }
  const std::uint64_t offset = known & kOffsetMask;
  if (offset == kChanges) return std::nullopt;
  return static_cast<std::int32_t>(offset) - kOffsetBias;
}

void enterZone(std::size_t name) {
  const MutexLock lock(zoneMutex);
  if (zoneName.load() == name) return;
  tzset();  // localtime_r alone does not look at the variable again
  std::uint64_t generation = zoneGeneration.load() + 1;
  if (generation > kLastGeneration) {
    for (auto& block : knownBlocks) block.store(0);
    generation = 1;
  }
  zoneGeneration.store(generation);
  zoneName.store(name);
}

}  // namespace

LocalZone LocalZone::current() {
  const char* const variable = std::getenv("TZ");
  const std::size_t name = variable ? std::hash<std::string_view>{}(variable) | 1 : 2;
  if (zoneName.load(std::memory_order_acquire) != name) enterZone(name);
  return LocalZone(zoneGeneration.load(std::memory_order_relaxed));
}

std::int32_t LocalZone::offsetAt(std::int64_t moment) const {
  if (const auto offset = offsetOfBlock<kLongBits>(moment, generation_)) return *offset;
  if (const auto offset = offsetOfBlock<kShortBits>(moment, generation_)) return *offset;
  return askSystem(moment);
}

LocalZone::Moments LocalZone::momentsOf(std::int64_t local) const {
  const std::int32_t before = offsetAt(local - kFarthestOffset);
  const std::int32_t after = offsetAt(local + kFarthestOffset);
  const std::int64_t first = local - before;
  const std::int64_t second = local - after;
  if (before == after) return {1, first, first, first};

  const bool firstShows = offsetAt(first) == before;
  const bool secondShows = offsetAt(second) == after;
  if (firstShows && secondShows) return {2, first, second, first};
  if (firstShows) return {1, first, first, first};
  if (secondShows) return {1, second, second, first};
  return {0, first, first, first};
}

}  // namespace vantrel::system::detail
