#include "vantrel/base/NumberText.h"

#include <algorithm>
#include <limits>

namespace vantrel::text {

std::string fixedDecimals(double number, int places) {
  places = std::max(places, 0);
  // A sign, the digits of the largest double, the point.
  constexpr int kWhole = 2 + std::numeric_limits<double>::max_exponent10 + 1;
  std::string text(static_cast<std::size_t>(kWhole + places), '\0');
  const auto [end, failure] =
      std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, places);
  text.resize(failure == std::errc() ? static_cast<std::size_t>(end - text.data()) : 0);
  return text;
}

}  // namespace vantrel::text
