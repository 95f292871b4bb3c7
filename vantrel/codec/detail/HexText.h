#pragma once

#include <span>
#include <string>
#include <string_view>

#include "vantrel/base/Bytes.h"

/// Hexadecimal text as a whole, over the loops of HexKernels.h.
namespace vantrel::codec::detail {

/// Two lowercase digits a byte.
std::string hexOf(std::span<const std::uint8_t> bytes);

/// The bytes of any text by the rules of `KWTools::HexToData`.
Bytes bytesOfHex(std::string_view text);

}  // namespace vantrel::codec::detail
