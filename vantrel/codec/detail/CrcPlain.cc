#include <array>

#include "vantrel/codec/detail/CrcKernels.h"
#include "vantrel/codec/detail/CrcPolynomial.h"

namespace vantrel::codec::detail {
namespace {

// The register after one nibble placed in its top four bits.
constexpr auto crc_table = [] {
  std::array<std::uint16_t, 16> table{};
  for (std::uint64_t nibble = 0; nibble < 16; ++nibble) {
    std::uint64_t crc = nibble << 12;
    for (int bit = 0; bit < 4; ++bit) crc = kCrc16Generator.timesX(crc);
    table[nibble] = static_cast<std::uint16_t>(crc);
  }
  return table;
}();

// The register after one byte placed in its low eight bits.
constexpr auto crctable = [] {
  constexpr auto kPolynomial = static_cast<std::uint32_t>(reversed(kCrc32Generator.low, 32));
  std::array<std::uint32_t, 256> table{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ (crc & 1 ? kPolynomial : 0);
    table[byte] = crc;
  }
  return table;
}();

constexpr std::uint16_t nibbleStep(std::uint16_t crc, unsigned nibble) {
  return static_cast<std::uint16_t>(crc_table[(crc >> 12 & 0xF) ^ nibble] ^ crc << 4);
}

constexpr std::uint16_t byteStep(std::uint16_t crc, std::uint8_t byte) {
  return nibbleStep(nibbleStep(crc, byte >> 4), byte & 0xF);
}

constexpr std::uint32_t byteStep(std::uint32_t crc, std::uint8_t byte) {
  return crctable[(crc ^ byte) & 0xFF] ^ crc >> 8;
}

// What a byte leaves in the register when `index` zero bytes follow it. Eight bytes at a time are then eight
// independent look-ups, where one by one each waits for the one before.
constexpr std::size_t kSlice = 8;
template <typename Register>
using Slices = std::array<std::array<Register, 256>, kSlice>;

template <typename Register>
constexpr Slices<Register> makeSlices() {
  Slices<Register> slices{};
  for (unsigned byte = 0; byte < 256; ++byte) {
    Register crc = byteStep(Register{0}, static_cast<std::uint8_t>(byte));
    for (auto& slice : slices) {
      slice[byte] = crc;
      crc = byteStep(crc, 0);
    }
  }
  return slices;
}

constexpr Slices<std::uint16_t> kSlices16 = makeSlices<std::uint16_t>();
constexpr Slices<std::uint32_t> kSlices32 = makeSlices<std::uint32_t>();

// The register joins the bytes that it meets first.
template <typename Register>
Register eightBytes(const Slices<Register>& slices, const std::uint8_t* bytes,
                    std::array<std::uint8_t, sizeof(Register)> crc) {
  Register result = 0;
  for (std::size_t i = 0; i < kSlice; ++i) {
    const std::uint8_t joined = i < crc.size() ? bytes[i] ^ crc[i] : bytes[i];
    result ^= slices[kSlice - 1 - i][joined];
  }
  return result;
}

constexpr std::uint8_t octet(std::uint32_t value) { return static_cast<std::uint8_t>(value); }

}  // namespace

std::uint16_t crc16Plain(const std::uint8_t* bytes, std::size_t count, std::uint16_t crc) {
  for (; count >= kSlice; count -= kSlice, bytes += kSlice)
    crc = eightBytes<std::uint16_t>(kSlices16, bytes, {octet(crc >> 8), octet(crc)});
  for (; count > 0; --count) crc = byteStep(crc, *bytes++);
  return crc;
}

std::uint32_t crc32Plain(const std::uint8_t* bytes, std::size_t count, std::uint32_t crc) {
  for (; count >= kSlice; count -= kSlice, bytes += kSlice)
    crc = eightBytes<std::uint32_t>(kSlices32, bytes,
                                    {octet(crc), octet(crc >> 8), octet(crc >> 16), octet(crc >> 24)});
  for (; count > 0; --count) crc = byteStep(crc, *bytes++);
  return crc;
}

}  // namespace vantrel::codec::detail
