#include "vantrel/system/LocalZone.h"

#include <cstdlib>
#include <ctime>
#include <functional>
#include <string_view>

namespace vantrel::system::detail {
namespace {

// Three days. A block holds one change at most: in the whole time-zone database no two changes of one zone
// are closer than 344,400 seconds (Freetown, September 1939).
constexpr int kBlockBits = 18;
constexpr std::int64_t kKeyBias = std::int64_t{1} << 40;

// More than any offset (POSIX allows 24:59:59 and an hour of daylight saving), and twice it is less than the
// distance of two changes.
constexpr std::int64_t kFarthestOffset = 100'000;

std::int32_t askSystem(std::int64_t moment) {
  const std::time_t time = moment;
  std::tm fields{};
  return localtime_r(&time, &fields) ? static_cast<std::int32_t>(fields.tm_gmtoff) : 0;
}

// All zeros, so that a thread that never asks pays nothing, and trivially destroyed, so that it serves to the
// thread's very end.
constinit thread_local LocalZone zoneOfThread{};

}  // namespace

LocalZone& LocalZone::current() {
  const char* const name = std::getenv("TZ");
  const std::size_t environment = name ? std::hash<std::string_view>{}(name) | 1 : 2;
  if (zoneOfThread.environment_ != environment) {
    tzset();  // localtime_r alone does not look at the variable again
    zoneOfThread = {};
    zoneOfThread.environment_ = environment;
  }
  return zoneOfThread;
}

std::int32_t LocalZone::offsetAt(std::int64_t moment) {
  const std::int64_t number = moment >> kBlockBits;
  Block& block = blocks_[static_cast<std::uint64_t>(number) % blocks_.size()];
  if (block.key != number + kKeyBias) block = load(number);
  return moment < block.change ? block.before : block.after;
}

LocalZone::Block LocalZone::load(std::int64_t number) {
  std::int64_t last = number << kBlockBits;  // known to have the offset before
  std::int64_t change = last + (std::int64_t{1} << kBlockBits) - 1;
  Block block{number + kKeyBias, change, askSystem(last), askSystem(change)};
  if (block.before == block.after) return block;
  while (change - last > 1) {
    const std::int64_t middle = last + (change - last) / 2;
    (askSystem(middle) == block.before ? last : change) = middle;
  }
  block.change = change;
  return block;
}

LocalZone::Moments LocalZone::momentsOf(std::int64_t local) {
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
