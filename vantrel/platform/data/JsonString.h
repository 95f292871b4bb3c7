#pragma once

#include <cstddef>
#include <string_view>

namespace vantrel::json::detail {

/// Bytes behind a text, the first of them zero, that `readString` and what looks at its result may read.
inline constexpr std::size_t kStringPadding = 32;

/// Reads the string (RFC 8259, section 7) whose first character behind the quote is at `next`, and gives what
/// it means in `value`: it lies where the string was written, which escapes overwrite. Gives the place behind
/// the closing quote, or null for what is no string or no UTF-8.
char* readString(char* next, std::string_view& value) noexcept;

}  // namespace vantrel::json::detail
