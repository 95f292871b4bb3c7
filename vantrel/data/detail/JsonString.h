#pragma once

#include <cstddef>
#include <string_view>

#include "vantrel/data/detail/JsonCharacters.h"

namespace vantrel::json::detail {

/// Bytes behind a text, the first of them zero, that `readString` and what looks at its result may read.
inline constexpr std::size_t kStringPadding = 32;

/// The same as `readString` where the characters before `next` are known to be plain and began at `start`.
char* readStringOn(char* start, char* next, std::string_view& value) noexcept;

/// Reads the string (RFC 8259, section 7) whose first character behind the quote is at `next`, and gives what
/// it means in `value`: it lies where the string was written, which escapes overwrite. Gives the place behind
/// the closing quote, or null for what is no string or no UTF-8.
inline char* readString(char* next, std::string_view& value) noexcept {
  // Most strings are short and plain.
  const std::size_t count = plainAmong16(next);
  if (next[count] != '"') return readStringOn(next, next + count, value);
  value = {next, count};
  return next + count + 1;
}

}  // namespace vantrel::json::detail
