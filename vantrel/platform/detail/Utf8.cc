#include "vantrel/platform/detail/Utf8.h"

#include <algorithm>
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

/// The same at the end of a text that need not have anything behind it.
std::size_t lastSequenceLength(const unsigned char* next, const unsigned char* end) noexcept {
  char rest[5] = {};
  std::memcpy(rest, next, std::min<std::size_t>(static_cast<std::size_t>(end - next), 4));
  return sequenceLength(rest);
}

}  // namespace

bool isUtf8(std::string_view text) noexcept {
  const auto* next = reinterpret_cast<const unsigned char*>(text.data());
  const auto* const end = next + text.size();
  for (next = skipAscii(next, end); next != end; next = skipAscii(next, end)) {
    const std::size_t length =
        end - next > 4 ? sequenceLength(reinterpret_cast<const char*>(next)) : lastSequenceLength(next, end);
    if (length == 0) return false;
    next += length;
  }
  return true;
}

}  // namespace vantrel::platform::detail
