#pragma once

#include <charconv>
#include <concepts>
#include <optional>
#include <string>
#include <string_view>

#include "vantrel/base/Export.h"

/// Numbers to and from text as in the C locale, whatever locale the program has set. Stateless; any thread.
namespace vantrel::text {

/// The number that the whole text is, without white space or a plus sign; floating numbers may be "inf" and
/// "nan". Absent for anything else, and for what the type cannot hold.
///
///   assert(text::parseNumber<int>("-7f", 16) == -127);
///   assert(!text::parseNumber<std::uint16_t>("65536"));
template <std::integral Number>
std::optional<Number> parseNumber(std::string_view text, int base = 10) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number, base);
  return failure == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

template <std::floating_point Number>
std::optional<Number> parseNumber(std::string_view text) {
  Number number{};
  const char* const end = text.data() + text.size();
  const auto [rest, failure] = std::from_chars(text.data(), end, number);
  return failure == std::errc() && rest == end ? std::optional(number) : std::nullopt;
}

/// The number with so many places behind the point, rounded to nearest as printf's "%.*f" does.
VANTREL_EXPORT std::string fixedDecimals(double number, int places);

}  // namespace vantrel::text
