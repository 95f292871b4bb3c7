#include "vantrel/system/KWSort.h"

#include <sys/random.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <compare>
#include <cstddef>
#include <limits>
#include <numeric>

namespace vantrel {
namespace {

/// Fair bits from the system's generator, fetched a few hundred at a time.
class RandomBits {
 public:
  bool next() {
    if (left_ == 0) refill();
    --left_;
    return words_[left_ / 64] >> (left_ % 64) & 1;
  }

 private:
  void refill() {
    left_ = words_.size() * 64;
    // Up to 256 bytes come whole or, on systems without the call, not at all.
    if (getrandom(words_.data(), sizeof words_, 0) == sizeof words_) return;
    auto state = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
    for (std::uint64_t& word : words_) {  // SplitMix64 of Steele, Lea and Flood
      std::uint64_t mixed = state += 0x9e3779b97f4a7c15;
      mixed = (mixed ^ mixed >> 30) * 0xbf58476d1ce4e5b9;
      mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
      word = mixed ^ mixed >> 31;
    }
  }

  std::array<std::uint64_t, 32> words_;
  std::size_t left_ = 0;
};

/// The indexes 0 to count - 1 merged by a comparison that a random bit turns round. The comparison
/// contradicts itself, which the standard sorts do not forgive; a merge only ever takes the front of one of
/// two runs.
template <class Compare>
std::vector<std::size_t> randomOrder(std::size_t count, Compare compare) {
  RandomBits bits;
  const auto goesAfter = [&](std::size_t a, std::size_t b) {
    return bits.next() ? compare(a, b) > 0 : compare(b, a) > 0;
  };
  std::vector<std::size_t> order(count);
  std::vector<std::size_t> merged(count);
  std::iota(order.begin(), order.end(), std::size_t{0});
  for (std::size_t width = 1; width < count; width *= 2) {
    for (std::size_t begin = 0; begin < count; begin += 2 * width) {
      const std::size_t middle = std::min(begin + width, count);
      const std::size_t end = std::min(middle + width, count);
      std::size_t left = begin;
      std::size_t right = middle;
      for (std::size_t to = begin; to < end; ++to) {
        const bool takeRight = left == middle || (right < end && goesAfter(order[left], order[right]));
        merged[to] = order[takeRight ? right++ : left++];
      }
    }
    order.swap(merged);
  }
  return order;
}

std::strong_ordering compareNumbers(long double a, long double b) {
  static_assert(std::numeric_limits<long double>::digits >= 64, "must hold every 64-bit integer");
  if (a < b) return std::strong_ordering::less;
  if (a > b) return std::strong_ordering::greater;
  return std::isnan(b) <=> std::isnan(a);  // NaN first
}

long double numberOf(const ValueTree& value) {
  if (const auto integer = value.asInteger()) return *integer;
  if (const auto large = value.asUnsigned()) return *large;
  return value.asDouble().value_or(0);
}

ValueTree::Kind rankOf(const ValueTree& value) {
  const auto kind = value.kind();
  return kind == ValueTree::Kind::Floating ? ValueTree::Kind::Integer : kind;
}

std::strong_ordering naturalOrder(const ValueTree& a, const ValueTree& b) {
  if (const auto order = rankOf(a) <=> rankOf(b); order != 0) return order;
  switch (a.kind()) {
    case ValueTree::Kind::Null:
      break;
    case ValueTree::Kind::Boolean:
      return *a.asBoolean() <=> *b.asBoolean();
    case ValueTree::Kind::Integer:
    case ValueTree::Kind::Floating:
      return compareNumbers(numberOf(a), numberOf(b));
    case ValueTree::Kind::String:
      return *a.asString() <=> *b.asString();
    case ValueTree::Kind::Date:
      return compareNumbers(a.asDate()->secondsSince1970, b.asDate()->secondsSince1970);
    case ValueTree::Kind::Data:
      return a.asData()->text() <=> b.asData()->text();
    case ValueTree::Kind::List:
    case ValueTree::Kind::Dictionary:
      return a.size() <=> b.size();
  }
  return std::strong_ordering::equal;
}

}  // namespace

ValueTree KWSort::arrayRandom(const ValueTree& list) {
  const auto items = list.items();
  ValueTree result = ValueTree::list();
  const auto compare = [items](std::size_t a, std::size_t b) { return naturalOrder(items[a], items[b]); };
  for (const std::size_t index : randomOrder(items.size(), compare)) result.append(items[index]);
  return result;
}

std::vector<std::int64_t> KWSort::arrayRandom(const std::vector<std::int64_t>& list) {
  std::vector<std::int64_t> result;
  result.reserve(list.size());
  const auto compare = [&list](std::size_t a, std::size_t b) { return list[a] <=> list[b]; };
  for (const std::size_t index : randomOrder(list.size(), compare)) result.push_back(list[index]);
  return result;
}

}  // namespace vantrel
