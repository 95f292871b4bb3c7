#include "vantrel/buffers/KWRing.h"

#include <algorithm>

namespace vantrel {

bool KWRing::ringMakeSize(std::int32_t size) {
  TPCircularBuffer made{};
  const bool mapped = TPCircularBufferInit(&made, size);
  if (made.length == 0) return false;
  if (mapped) startWith(made);
  len_total_ = made.length;
  return mapped;
}

std::uint32_t KWRing::ringUsable() const {
  // In this order nothing got is missing among what was put. A put that gets in between counts as held
  // although what made space for it does not: hence the limit.
  const std::uint64_t got = consumer_.moved.load(std::memory_order_acquire);
  const std::uint64_t put = producer_.moved.load(std::memory_order_acquire);
  const auto length = static_cast<std::uint32_t>(buffer_.length);
  return length - static_cast<std::uint32_t>(std::min<std::uint64_t>(put - got, length));
}

void KWRing::ringClean() {
  const std::uint64_t got = consumer_.moved.load(std::memory_order_relaxed);
  consumer_.otherMoved = producer_.moved.load(std::memory_order_acquire);
  const auto held = static_cast<std::int32_t>(consumer_.otherMoved - got);
  consumer_.offset = TPCircularBufferMoved(consumer_.offset, held, buffer_.length);
  consumer_.moved.store(consumer_.otherMoved, std::memory_order_release);
}

void KWRing::ringRelease() {
  TPCircularBufferCleanup(&buffer_);
  startWith({});
  len_total_ = 0;
}

void KWRing::startWith(const TPCircularBuffer& memory) {
  buffer_ = memory;
  for (Side* side : {&producer_, &consumer_}) {
    side->moved.store(0, std::memory_order_relaxed);
    side->otherMoved = 0;
    side->offset = 0;
  }
}

}  // namespace vantrel
