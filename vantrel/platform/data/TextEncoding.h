#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vantrel/platform/Bytes.h"
#include "vantrel/platform/Export.h"

/// Text in the encodings of the platform's numbering. Stateless; any thread.
namespace vantrel::text {

inline constexpr std::uint64_t kUtf8 = 4;
inline constexpr std::uint64_t kUtf16LittleEndian = 0x94000100;
inline constexpr std::uint64_t kGb18030 = 0x80000632;

/// Decodes strictly: absent when the bytes are not valid text in that encoding (overlong forms, lone
/// surrogates, odd lengths, unassigned codes) or the identifier is not known. A byte-order mark is text like
/// any other in the three above.
VANTREL_EXPORT std::optional<std::string> decode(const Bytes& bytes, std::uint64_t encoding);

/// Whether the text is well-formed UTF-8 (no overlong forms, no surrogates, nothing past U+10FFFF).
VANTREL_EXPORT bool isValidUtf8(std::string_view text);

/// Conversions between UTF-8 and UTF-16 code units; what is invalid becomes U+FFFD.
VANTREL_EXPORT std::u16string utf16(std::string_view text);
VANTREL_EXPORT std::string utf8(std::u16string_view text);

}  // namespace vantrel::text
