#include "vantrel/codec/Crc.h"

#include "vantrel/codec/detail/CrcKernels.h"

namespace vantrel {

std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t before) noexcept {
  return bytes.empty() ? before : ~codec::detail::crc32(bytes.data(), bytes.size(), ~before);
}

std::uint16_t crc16(std::span<const std::uint8_t> bytes, std::uint16_t before) noexcept {
  return bytes.empty() ? before : codec::detail::crc16(bytes.data(), bytes.size(), before);
}

}  // namespace vantrel
