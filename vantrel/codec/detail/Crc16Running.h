#pragma once

#include <cstdint>

/// The running value of the CRC-16 computations, for tests.
namespace vantrel::codec::detail {

std::uint16_t crc16Running() noexcept;

}  // namespace vantrel::codec::detail
