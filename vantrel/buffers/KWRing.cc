#include "vantrel/buffers/KWRing.h"

#include <algorithm>
#include <cstring>

namespace vantrel {

// The memory is the mirrored buffer's, the counts are not: its fill count is changed by both sides, so each
// put and each get would pay for a locked addition and take the count's cache line from the other side. With
// two counts that have one writer each, a put or get is a copy and a plain store.
//
// Which order pairs with which: the producer stores its count after it has copied bytes in (release), and the
// consumer reads it before it copies them out (acquire). The consumer stores its count after it has copied
// bytes out (release), and the producer reads it before it writes over them (acquire).

bool KWRing::ringMakeSize(std::int32_t size) {
  TPCircularBuffer made{};
  const bool mapped = TPCircularBufferInit(&made, size);
  if (made.length == 0) return false;
  if (mapped) startWith(made);
  len_total_ = made.length;
  return mapped;
}

std::uint32_t KWRing::ringPut_Size(const void* source, std::uint32_t size) {
  const std::uint64_t put = producer_.moved.load(std::memory_order_relaxed);
  const auto length = static_cast<std::uint32_t>(buffer_.length);
  std::uint64_t space = length - (put - producer_.otherMoved);
  if (space < size) {
    producer_.otherMoved = consumer_.moved.load(std::memory_order_acquire);
    space = length - (put - producer_.otherMoved);
  }
  const auto taken = static_cast<std::uint32_t>(std::min<std::uint64_t>(space, size));
  if (taken == 0) return 0;
  std::memcpy(buffer_.buffer + producer_.offset, source, taken);
  producer_.offset =
      TPCircularBufferMoved(producer_.offset, static_cast<std::int32_t>(taken), buffer_.length);
  producer_.moved.store(put + taken, std::memory_order_release);
  return taken;
}

std::uint32_t KWRing::ringGet_Size(void* destination, std::uint32_t size) {
  const std::uint64_t got = consumer_.moved.load(std::memory_order_relaxed);
  std::uint64_t filled = consumer_.otherMoved - got;
  if (filled < size) {
    consumer_.otherMoved = producer_.moved.load(std::memory_order_acquire);
    filled = consumer_.otherMoved - got;
  }
  const auto delivered = static_cast<std::uint32_t>(std::min<std::uint64_t>(filled, size));
  if (delivered == 0) return 0;
  std::memcpy(destination, buffer_.buffer + consumer_.offset, delivered);
  consumer_.offset =
      TPCircularBufferMoved(consumer_.offset, static_cast<std::int32_t>(delivered), buffer_.length);
  consumer_.moved.store(got + delivered, std::memory_order_release);
  return delivered;
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
