#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "vantrel/base/Export.h"

/// MD5 (RFC 1321) and HMAC-MD5 (RFC 2104) of bytes, as bytes: zero bytes count like any other, unlike those
/// of `KWHmacMD5`. They protect nothing against an attacker who can choose the bytes, and are here for
/// protocols that ask for them. Nothing is allocated, and there are no failures. Threads: any.
namespace vantrel {

using Md5Digest = std::array<std::uint8_t, 16>;

/// "abc" -> 900150983cd24fb0d6963f7d28e17f72
VANTREL_EXPORT Md5Digest md5(std::span<const std::uint8_t> bytes) noexcept;

/// "what do ya want for nothing?" with the key "Jefe" -> 750c783e6ab0b503eaa86e310a5db738
VANTREL_EXPORT Md5Digest hmacMd5(std::span<const std::uint8_t> key,
                                 std::span<const std::uint8_t> bytes) noexcept;

}  // namespace vantrel
