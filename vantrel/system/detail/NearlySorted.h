#pragma once

#include <algorithm>
#include <cstddef>

namespace vantrel::system::detail {

/// Sorts what is in order but for a few strays: they are taken out, sorted by themselves and merged back from
/// the end. An array that turns out to be otherwise is left in another order, soon after that shows.
///
/// After Levcopack and Petersson's Rem measure: the cost is one pass and a sort of the strays.
template <class Before, class Sort>
class NearlySorted {
 public:
  NearlySorted(int* numbers, std::size_t count, Before before, Sort sort)
      : numbers_(numbers), count_(count), before_(before), sort_(sort) {}

  /// False when there are too many strays; all numbers are there still.
  bool sorted() {
    while (read_ < count_) {
      if (!takeNext()) {
        std::copy_n(strays_, strayCount_, numbers_ + kept_);
        return false;
      }
    }
    sort_(strays_, strayCount_);
    mergeFromTheEnd();
    return true;
  }

 private:
  static constexpr std::size_t kMostStrays = 4096;  // 16 KiB of the stack
  static constexpr std::size_t kAlwaysAllowed = 16;
  static constexpr std::size_t kOneIn = 8;
  static constexpr std::size_t kInARow = 8;

  bool takeNext() {
    const int next = numbers_[read_];
    if (kept_ == 0 || !before_(next, numbers_[kept_ - 1])) {
      numbers_[kept_++] = next;
      ++read_;
      inARow_ = 0;
      return true;
    }
    // A few more of the kept ones may become strays when several come in a row.
    if (strayCount_ + 1 >= kMostStrays || strayCount_ > kAlwaysAllowed + read_ / kOneIn) return false;
    ++read_;
    if (kept_ >= 2 && !before_(next, numbers_[kept_ - 2])) {  // the last one kept is the stray
      strays_[strayCount_++] = numbers_[kept_ - 1];
      numbers_[kept_ - 1] = next;
      inARow_ = 0;
      return true;
    }
    strays_[strayCount_++] = next;
    if (++inARow_ == kInARow) takeBack();
    return true;
  }

  // Many strays in a row are none: what was kept before them is, and they are looked at again.
  void takeBack() {
    inARow_ = 0;
    strayCount_ -= kInARow;
    read_ -= kInARow;
    const int largest = *std::max_element(numbers_ + read_, numbers_ + read_ + kInARow, before_);
    do {
      strays_[strayCount_++] = numbers_[--kept_];
    } while (kept_ > 0 && strayCount_ < kMostStrays && before_(largest, numbers_[kept_ - 1]));
  }

  void mergeFromTheEnd() {
    std::size_t to = count_;
    for (std::size_t stray = strayCount_; stray > 0; --stray) {
      const int number = strays_[stray - 1];
      while (kept_ > 0 && before_(number, numbers_[kept_ - 1])) numbers_[--to] = numbers_[--kept_];
      numbers_[--to] = number;
    }
  }

  int* numbers_;
  std::size_t count_;
  Before before_;
  Sort sort_;
  std::size_t read_ = 0;
  std::size_t kept_ = 0;  // at the front, in order
  std::size_t strayCount_ = 0;
  std::size_t inARow_ = 0;
  int strays_[kMostStrays];
};

}  // namespace vantrel::system::detail
