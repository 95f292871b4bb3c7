#pragma once

#include <cstdint>
#include <span>

#include "vantrel/base/Export.h"

/// Checksums of bytes of any length. A computation may be cut anywhere: each piece continues from the result
/// of the one before, which is 0 for the first.
///
///   assert(crc32(rest, crc32(front)) == crc32(both));
///
/// There are no failures; no bytes give `before`. Threads: any.
namespace vantrel {

/// CRC-32 of zlib, gzip, PNG and Ethernet (ISO-HDLC).
/// "123456789" -> 0xCBF43926
VANTREL_EXPORT std::uint32_t crc32(std::span<const std::uint8_t> bytes, std::uint32_t before = 0) noexcept;

/// CRC-16/XMODEM: polynomial 0x1021, most significant bit first, nothing reflected, no final XOR. Other start
/// values go in as `before`: 0xFFFF gives the variant that many call CCITT-FALSE.
/// "123456789" -> 0x31C3, and 0x29B1 from 0xFFFF
VANTREL_EXPORT std::uint16_t crc16(std::span<const std::uint8_t> bytes, std::uint16_t before = 0) noexcept;

}  // namespace vantrel
