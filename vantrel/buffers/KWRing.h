#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "vantrel/base/Export.h"
#include "vantrel/buffers/TPCircularBuffer.h"

namespace vantrel {

/// A ring of bytes that copies in and out and counts: one thread puts, another one gets, neither blocks.
///
/// The operations that take or give bytes do no locking, no allocation and no system call, so either side may
/// be a real-time audio thread.
///
/// Threads: one thread puts, one gets; ringUsable serves both sides (its answer is a lower bound for the
/// producer). ringClean belongs to the consumer. ringMakeSize, ringRelease and setLen_total need the ring for
/// themselves.
///
/// Ownership: the destructor does not give the ring's memory back; the owner calls ringRelease first. A ring
/// is neither copied nor moved.
///
/// A ring without memory (new, released, or one whose first making failed) takes 0 bytes and delivers 0
/// bytes.
class VANTREL_EXPORT KWRing {
 public:
  KWRing() = default;
  KWRing(const KWRing&) = delete;
  KWRing& operator=(const KWRing&) = delete;

  /// Makes an empty ring of at least `size` bytes, rounded up to whole pages: 1000 gives one page, which
  /// len_total then says. A ring that had memory abandons it for the new: release it before.
  ///
  /// False when the system refuses (a line on standard output says why): the ring keeps the memory and the
  /// bytes that it had, if any, and len_total alone is the rounded size also then. False and nothing changed
  /// when `size` is not positive or, rounded up, exceeds 32 bits.
  bool ringMakeSize(std::int32_t size);

  /// Takes as many of the `size` bytes at `source` as there is space for, in order, and says how many: 10
  /// bytes into a ring with 4 free give 4, then 0. The rest stays the caller's. A producer's call.
  std::uint32_t ringPut_Size(const void* source, std::uint32_t size);

  /// Delivers up to `size` bytes to `destination`, oldest first, and says how many: 100 of a ring that holds
  /// 30 give 30, then 0. A consumer's call.
  std::uint32_t ringGet_Size(void* destination, std::uint32_t size);

  /// Free bytes; 0 without memory.
  std::uint32_t ringUsable() const;

  /// Drops all that the ring holds at this moment. A consumer's call.
  void ringClean();

  /// Gives the memory back; the ring is as new then and may be made again. A second call does nothing.
  void ringRelease();

  /// The size in bytes that ringMakeSize was last asked for, in whole pages: the capacity, unless it failed.
  /// 0 when new and released.
  std::int32_t len_total() const { return len_total_; }

  /// Sets what len_total says, and nothing else: neither the memory nor the free space changes.
  void setLen_total(std::int32_t length) { len_total_ = length; }

 private:
  /// What one side has moved since the ring was made. Each has a cache line of its own, which the other side
  /// reads only when what it last saw does not suffice.
  struct alignas(64) Side {
    std::atomic<std::uint64_t> moved{0};  ///< bytes put or got
    std::uint64_t otherMoved = 0;         ///< of the other side, as last seen
    std::int32_t offset = 0;              ///< moved modulo length
  };

  void startWith(const TPCircularBuffer& memory);

  TPCircularBuffer buffer_{};
  std::int32_t len_total_ = 0;
  Side producer_, consumer_;
};

// The memory is the mirrored buffer's, the counts are not: its fill count is changed by both sides, so each
// put and each get would pay for a locked addition and take the count's cache line from the other side. With
// two counts that have one writer each, a put or get is a copy and a plain store. Both stand here so that the
// compiler can put them where they are called: of a small piece, the call is a good part of the cost.
//
// Which order pairs with which: the producer stores its count after it has copied bytes in (release), and the
// consumer reads it before it copies them out (acquire). The consumer stores its count after it has copied
// bytes out (release), and the producer reads it before it writes over them (acquire).

inline std::uint32_t KWRing::ringPut_Size(const void* source, std::uint32_t size) {
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

inline std::uint32_t KWRing::ringGet_Size(void* destination, std::uint32_t size) {
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

}  // namespace vantrel
