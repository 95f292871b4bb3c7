#pragma once

#include <cstddef>
#include <cstdint>

/// The registers of the two checksums moved on over bytes of any number and alignment: no start values and no
/// final inversions here. Each exists as a plain function and, chosen by simd/Target.h, with carry-less
/// multiplication; both give the same results.
namespace vantrel::codec::detail {

/// CRC-16 with polynomial 0x1021, most significant bit first.
std::uint16_t crc16(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc);
std::uint16_t crc16Plain(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc);

/// CRC-32 with the reflected polynomial 0xEDB88320.
std::uint32_t crc32(const std::uint8_t* bytes, std::size_t count, std::uint32_t crc);
std::uint32_t crc32Plain(const std::uint8_t* bytes, std::size_t count, std::uint32_t crc);

}  // namespace vantrel::codec::detail
