#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <memory>
#include <new>
#include <optional>

#include "vantrel/base/Bytes.h"

namespace vantrel::codec::detail {

/// Memory for a result: not cleared before it is written, enlarged where it lies when that is possible, and
/// handed over without a copy.
class Room {
 public:
  std::uint8_t* data() { return memory_.get(); }
  std::uint64_t size() const { return size_; }

  /// More room at the end, `most` bytes of it in all. An allocator that moves what it enlarges would copy a
  /// bomb's contents thousands of times, so memory for half as much again is set aside, not yet touched.
  bool enlarge(std::uint64_t by, std::uint64_t most) {
    size_ = std::min(most, size_ + by);
    if (size_ <= reserved_) return true;
    return reserve(std::min(most, std::max(size_, reserved_ + reserved_ / 2))) || reserve(size_);
  }

  std::optional<Bytes> take(std::size_t length) try {
    if (length == 0) return Bytes();
    reserve(length);  // when that fails, what there is serves as well
    const std::shared_ptr<const std::uint8_t> owner(std::move(memory_));
    return Bytes::sharing({owner.get(), length}, owner);
  } catch (const std::bad_alloc&) {
    return std::nullopt;
  }

 private:
  struct Free {
    void operator()(std::uint8_t* memory) const { std::free(memory); }
  };

  bool reserve(std::uint64_t size) {
    if (size > std::numeric_limits<std::ptrdiff_t>::max()) return false;
    auto* moved = static_cast<std::uint8_t*>(std::realloc(memory_.get(), size));
    if (moved == nullptr) return false;
    static_cast<void>(memory_.release());
    memory_.reset(moved);
    reserved_ = size;
    return true;
  }

  std::unique_ptr<std::uint8_t, Free> memory_;
  std::uint64_t reserved_ = 0;
  std::uint64_t size_ = 0;
};

}  // namespace vantrel::codec::detail
