#include "vantrel/buffers/KWRing.h"

#include <algorithm>
#include <cstring>

namespace vantrel {

bool KWRing::ringMakeSize(std::int32_t size) {
  // Into a fresh record: one that was mapped and failed to map again would hold a length that is not its own.
  TPCircularBuffer made{};
  const bool mapped = TPCircularBufferInit(&made, size);
  if (made.length != 0) buffer_ = made;
  len_total_ = buffer_.length;
  return mapped;
}

std::uint32_t KWRing::ringPut_Size(const void* source, std::uint32_t size) {
  std::int32_t space = 0;
  std::uint8_t* region = TPCircularBufferWriteRegion(&buffer_, &space);
  if (!region) return 0;
  const std::uint32_t taken = std::min(static_cast<std::uint32_t>(space), size);
  if (taken == 0) return 0;
  std::memcpy(region, source, taken);
  TPCircularBufferProduce(&buffer_, static_cast<std::int32_t>(taken));
  return taken;
}

std::uint32_t KWRing::ringGet_Size(void* destination, std::uint32_t size) {
  std::int32_t filled = 0;
  const std::uint8_t* region = TPCircularBufferReadRegion(&buffer_, &filled);
  if (!region) return 0;
  const std::uint32_t delivered = std::min(static_cast<std::uint32_t>(filled), size);
  if (delivered == 0) return 0;
  std::memcpy(destination, region, delivered);
  TPCircularBufferConsume(&buffer_, static_cast<std::int32_t>(delivered));
  return delivered;
}

std::uint32_t KWRing::ringUsable() const {
  if (!buffer_.buffer) return 0;
  return static_cast<std::uint32_t>(buffer_.length - __atomic_load_n(&buffer_.fillCount, __ATOMIC_ACQUIRE));
}

void KWRing::ringClean() { TPCircularBufferClear(&buffer_); }

void KWRing::ringRelease() {
  TPCircularBufferCleanup(&buffer_);
  len_total_ = 0;
}

}  // namespace vantrel
