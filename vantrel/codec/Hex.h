#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "vantrel/base/Export.h"

/// Hexadecimal text into and from memory of the caller's. Nothing is allocated; input and output must not
/// overlap. `KWTools::HexToData` reads any text whatever; this reads digits and nothing else.
///
///   const std::array<std::uint8_t, 3> bytes{0x00, 0x0A, 0xFF};
///   std::array<char, 64> text;
///   const auto length = hex::encode(bytes, text);  // 6, and the text begins with "000aff"
///
/// Threads: any; no state is kept.
namespace vantrel::hex {

/// Writes two lowercase digits a byte to the front of `text` and says how many characters these are: 00 0A FF
/// -> "000aff", 6. Absent, with nothing written, when `text` is too short.
[[nodiscard]] VANTREL_EXPORT std::optional<std::size_t> encode(std::span<const std::uint8_t> bytes,
                                                               std::span<char> text) noexcept;

/// Reads pairs of digits of either case into the front of `bytes` and says how many bytes these are: "000AfF"
/// -> 00 0A FF, 3. Absent when `bytes` is too short, with nothing written, and for an odd number of
/// characters or one that is no digit; then `bytes` has undefined contents.
[[nodiscard]] VANTREL_EXPORT std::optional<std::size_t> decode(std::string_view text,
                                                               std::span<std::uint8_t> bytes) noexcept;

}  // namespace vantrel::hex
