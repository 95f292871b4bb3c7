#include "vantrel/data/detail/JsonNumber.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <cstdint>
#include <string_view>

#include "vantrel/data/detail/JsonCharacters.h"

namespace vantrel::json::detail {

namespace {

bool isDigit(char character) noexcept { return character >= '0' && character <= '9'; }

/// The number that eight digits make, one in each byte, the first one lowest: neighbours are joined to pairs,
/// pairs to fours, fours to the whole.
std::uint64_t joined(std::uint64_t digits) noexcept {
  constexpr std::uint64_t kEveryFourth = 0x000000ff000000ff;
  const std::uint64_t pairs = digits * 10 + (digits >> 8);
  return ((pairs & kEveryFourth) * (100 + (std::uint64_t{1'000'000} << 32)) +
          (pairs >> 16 & kEveryFourth) * (1 + (std::uint64_t{10'000} << 32))) >>
         32;
}

/// Appends the digits at `next` to `number`, which wraps around when they are too many. Eight at a time,
/// because a loop over single ones costs a mispredicted branch at most numbers' ends.
const char* readDigits(const char* next, std::uint64_t& number) noexcept {
  constexpr std::uint64_t kPowers[] = {1,       10,        100,        1'000,      10'000,
                                       100'000, 1'000'000, 10'000'000, 100'000'000};
  while (true) {
    const std::uint64_t digits = loadWord(next) ^ inEachByte('0');
    // A high bit in every byte above 9; a carry can only make wrong ones above a right one.
    const std::uint64_t others = ((digits + inEachByte(0x76)) | digits) & inEachByte(0x80);
    const auto count = static_cast<std::size_t>(std::countr_zero(others)) / 8;
    if (count == 0) return next;
    number = number * kPowers[count] + joined(digits << (8 * (8 - count)));
    next += count;
    if (count != 8) return next;
  }
}

/// Whether a number beyond the range of doubles is beyond its upper end rather than next to zero: its first
/// digit that counts stands at or above the units.
bool isHuge(std::string_view number) noexcept {
  const std::size_t e = std::min(number.find_first_of("eE"), number.size());
  const std::string_view digits = number.substr(0, e);
  const std::size_t point = std::min(digits.find('.'), digits.size());
  const std::size_t first = digits.find_first_of("123456789");
  if (first == std::string_view::npos) return false;
  long long exponent = 0;
  std::string_view written = number.substr(std::min(e + 1, number.size()));
  if (written.starts_with('+')) written.remove_prefix(1);
  const auto [end, failure] = std::from_chars(written.data(), written.data() + written.size(), exponent);
  if (failure == std::errc::result_out_of_range) return !written.starts_with('-');
  // Both are lengths within one text, so that neither they nor their sum with the exponent matter beyond
  // this.
  constexpr long long kFar = 1LL << 60;
  return static_cast<long long>(point) - static_cast<long long>(first) + std::clamp(exponent, -kFar, kFar) >
         0;
}

bool convertDouble(std::string_view text, ValueTree& value) noexcept {
  double number;
  if (std::from_chars(text.data(), text.data() + text.size(), number).ec != std::errc{}) {
    if (isHuge(text)) return false;
    number = text.starts_with('-') ? -0.0 : 0.0;
  }
  value = ValueTree(number);
  return true;
}

/// Keeps an integer as one where it fits.
bool convertInteger(std::string_view text, std::size_t count, std::uint64_t digits,
                    ValueTree& value) noexcept {
  constexpr std::size_t kAlwaysFit = 19;
  constexpr std::uint64_t kLowest = std::uint64_t{1} << 63;
  const bool isNegative = text.front() == '-';
  if (count > kAlwaysFit) {
    const bool fits =
        !isNegative && std::from_chars(text.data(), text.data() + text.size(), digits).ec == std::errc{};
    if (!fits) return convertDouble(text, value);
  }
  if (!isNegative) {
    value = ValueTree(digits);
  } else if (digits == 0) {
    value = ValueTree(-0.0);
  } else if (digits <= kLowest) {
    value = ValueTree(static_cast<std::int64_t>(0 - digits));
  } else {
    return convertDouble(text, value);
  }
  return true;
}

/// A product or quotient of two numbers that doubles hold exactly is rounded correctly (Clinger: "How to read
/// floating point numbers accurately"). False when this number is none.
bool convertShortDouble(bool isNegative, std::uint64_t digits, std::int64_t exponent,
                        ValueTree& value) noexcept {
  constexpr double kPowers[] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8,  1e9,  1e10, 1e11,
                                1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18, 1e19, 1e20, 1e21, 1e22};
  constexpr std::int64_t kHighest = 22;
  if (digits > std::uint64_t{1} << 53 || exponent > kHighest || exponent < -kHighest) return false;
  const double whole = static_cast<double>(static_cast<std::int64_t>(digits));
  const double number = exponent < 0 ? whole / kPowers[-exponent] : whole * kPowers[exponent];
  value = ValueTree(isNegative ? -number : number);
  return true;
}

}  // namespace

const char* readNumber(const char* next, ValueTree& value) noexcept {
  const char* const start = next;
  const bool isNegative = *next == '-';
  if (isNegative) ++next;

  std::uint64_t digits = 0;
  const char* const whole = next;
  next = readDigits(next, digits);
  auto count = static_cast<std::size_t>(next - whole);
  if (count == 0 || (*whole == '0' && count != 1)) return nullptr;
  const auto text = [&] { return std::string_view(start, static_cast<std::size_t>(next - start)); };
  if (*next != '.' && *next != 'e' && *next != 'E') {
    return convertInteger(text(), count, digits, value) ? next : nullptr;
  }

  std::int64_t exponent = 0;
  if (*next == '.') {
    const char* const fraction = ++next;
    next = readDigits(next, digits);
    if (next == fraction) return nullptr;
    exponent = fraction - next;
    count += static_cast<std::size_t>(next - fraction);
  }
  bool isShort = count <= 19;
  if (*next == 'e' || *next == 'E') {
    ++next;
    const bool isSmall = *next == '-';
    if (*next == '-' || *next == '+') ++next;
    if (!isDigit(*next)) return nullptr;
    std::uint64_t written = 0;
    const char* const first = next;
    next = readDigits(next, written);
    isShort = isShort && next - first <= 8;
    if (isShort)
      exponent += isSmall ? -static_cast<std::int64_t>(written) : static_cast<std::int64_t>(written);
  }
  if (isShort && convertShortDouble(isNegative, digits, exponent, value)) return next;
  return convertDouble(text(), value) ? next : nullptr;
}

}  // namespace vantrel::json::detail
