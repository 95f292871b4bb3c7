#include "vantrel/player/detail/Format.h"

#include <charconv>
#include <cmath>
#include <limits>

#include "vantrel/base/NumberText.h"

namespace vantrel::player::detail {
namespace {

bool isDigit(char character) { return character >= '0' && character <= '9'; }

/// Cuts white space and a sign off; true when the sign was a minus.
bool takeSign(std::string_view& text) {
  const auto start = text.find_first_not_of(" \t\n\v\f\r");
  text.remove_prefix(start == std::string_view::npos ? text.size() : start);
  if (text.empty() || (text.front() != '-' && text.front() != '+')) return false;
  const bool negative = text.front() == '-';
  text.remove_prefix(1);
  return negative;
}

}  // namespace

std::string twoDecimals(double number) { return std::isnan(number) ? "nan" : text::fixedDecimals(number, 2); }

std::uint32_t truncated(double number) {
  constexpr std::uint32_t kMost = std::numeric_limits<std::uint32_t>::max();
  if (!(number > 0)) return 0;
  return number >= kMost ? kMost : static_cast<std::uint32_t>(number);
}

std::optional<std::int64_t> leadingInteger(std::string_view text) {
  using Limits = std::numeric_limits<std::int64_t>;
  const bool negative = takeSign(text);
  if (text.empty() || !isDigit(text.front())) return std::nullopt;
  std::uint64_t digits = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), digits);
  const bool beyond = error != std::errc{} || digits > static_cast<std::uint64_t>(Limits::max());
  if (beyond) return negative ? Limits::min() : Limits::max();
  return negative ? -static_cast<std::int64_t>(digits) : static_cast<std::int64_t>(digits);
}

float leadingFloat(std::string_view text) {
  const bool negative = takeSign(text);
  // Only digits: "inf" and "nan" are names, not numbers to go by.
  if (text.empty() || !(isDigit(text.front()) || text.front() == '.')) return 0;
  float number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc{}) return 0;
  return negative ? -number : number;
}

std::string_view orNull(const std::optional<std::string>& text) {
  return text ? std::string_view(*text) : std::string_view("(null)");
}

}  // namespace vantrel::player::detail
