#include "vantrel/platform/detail/Utf8.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace vantrel::platform::detail {

namespace {

constexpr std::uint64_t kHighBits = 0x8080808080808080;

/// Past the ASCII characters at `next`, 32 at a time and then one by one.
const unsigned char* skipAscii(const unsigned char* next, const unsigned char* end) noexcept {
  for (; end - next >= 32; next += 32) {
    std::uint64_t words[4];
    std::memcpy(words, next, sizeof words);
    if (((words[0] | words[1] | words[2] | words[3]) & kHighBits) != 0) break;
  }
  while (next != end && *next < 0x80) ++next;
  return next;
}

/// Length of the well-formed sequence at `next`, which starts beyond ASCII; 0 when it is malformed.
std::ptrdiff_t sequenceLength(const unsigned char* next, const unsigned char* end) noexcept {
  const unsigned char lead = *next;
  const std::ptrdiff_t length = lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  if (lead < 0xc2 || lead > 0xf4 || end - next < length) return 0;
  // The second byte's range shuts out overlong forms, surrogates and what is above U+10FFFF.
  const unsigned char low = lead == 0xe0 ? 0xa0 : lead == 0xf0 ? 0x90 : 0x80;
  const unsigned char high = lead == 0xed ? 0x9f : lead == 0xf4 ? 0x8f : 0xbf;
  if (next[1] < low || next[1] > high) return 0;
  for (std::ptrdiff_t i = 2; i < length; ++i) {
    if ((next[i] & 0xc0) != 0x80) return 0;
  }
  return length;
}

}  // namespace

bool isUtf8(std::string_view text) noexcept {
  const auto* next = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = next + text.size();
  for (next = skipAscii(next, end); next != end; next = skipAscii(next, end)) {
    const std::ptrdiff_t length = sequenceLength(next, end);
    if (length == 0) return false;
    next += length;
  }
  return true;
}

}  // namespace vantrel::platform::detail
