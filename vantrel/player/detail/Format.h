#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Numbers as the players' texts: the same whatever locale the host has set, and never undefined for what a
/// decoder or a settings file may hold.
namespace vantrel::player::detail {

/// As printf's "%.2f" in the C locale; "nan" for every not-a-number, whatever its sign.
std::string twoDecimals(double number);

/// The number cut to a whole one, towards zero; 0 for negative and not-a-number, clamped to 32 bits above.
std::uint32_t truncated(double number);

/// The integer that a text begins with (after white space, with an optional sign), clamped to 64 bits; absent
/// when it begins with none.
std::optional<std::int64_t> leadingInteger(std::string_view text);

/// The decimal number that a text begins with; 0 when it begins with none or with one too large for a float.
float leadingFloat(std::string_view text);

/// The text, or "(null)" for an absent one, as a log line shows it.
std::string_view orNull(const std::optional<std::string>& text);

}  // namespace vantrel::player::detail
