#pragma once

#include <cstddef>
#include <cstdint>

#include "vantrel/data/PropertyList.h"

/// What the binary property-list reader and writer share. The format ("bplist00"): objects of one marker byte
/// and a payload, big-endian; a table of their offsets; a trailer of 32 bytes. Containers name their contents
/// by object number.
namespace vantrel::plist::detail {

inline constexpr std::size_t kMaxLevels = 512;                ///< of containers
inline constexpr std::uint64_t kMaxValues = 4'000'000;        ///< counted wherever they are referred to
inline constexpr std::uint64_t kMaxObjects = 2 * kMaxValues;  ///< in a file's table
inline constexpr std::uint64_t kMaxKeyBytes = std::uint64_t{128} << 20;

inline constexpr std::size_t kHeaderSize = 8;
inline constexpr std::size_t kTrailerSize = 32;
inline constexpr double kSecondsFrom1970To2001 = 978307200;

/// The upper half of a marker byte; the lower half is a size or count, 15 when an integer with it follows.
enum class Marker : std::uint8_t {
  Simple = 0x00,
  Integer = 0x10,
  Real = 0x20,
  Date = 0x30,
  Data = 0x40,
  Ascii = 0x50,
  Utf16 = 0x60,
  Uid = 0x80,
  Array = 0xA0,
  Set = 0xC0,
  Dictionary = 0xD0,
};

inline constexpr std::uint8_t kFalse = 0x08;
inline constexpr std::uint8_t kTrue = 0x09;
inline constexpr std::uint8_t kCountFollows = 0x0F;

}  // namespace vantrel::plist::detail
