#include "vantrel/data/detail/JsonString.h"

#include <cstdint>
#include <cstring>

#include "vantrel/base/Utf8.h"

namespace vantrel::json::detail {

namespace {

/// The quote, backslash or control character that is next, or null where something before it is no UTF-8.
char* skipPlain(char* next) noexcept {
  while (true) {
    std::size_t count;
    do {
      count = plainAmong16(next);
      next += count;
    } while (count == 16);
    if (static_cast<signed char>(*next) >= 0) return next;
    do {
      // Behind the text stand zero bytes, which end every sequence.
      const std::size_t length = text::utf8SequenceLength(next);
      if (length == 0) return nullptr;
      next += length;
    } while (static_cast<signed char>(*next) < 0);
  }
}

constexpr std::uint32_t kNoCode = 0xffffffff;

/// Of four hexadecimal digits; `kNoCode` when they are others.
std::uint32_t readCode(const char* next) noexcept {
  std::uint32_t code = 0;
  for (int i = 0; i < 4; ++i) {
    const char digit = next[i];
    const char letter = static_cast<char>(digit | 0x20);
    if (digit >= '0' && digit <= '9') {
      code = code << 4 | static_cast<std::uint32_t>(digit - '0');
    } else if (letter >= 'a' && letter <= 'f') {
      code = code << 4 | static_cast<std::uint32_t>(letter - 'a' + 10);
    } else {
      return kNoCode;
    }
  }
  return code;
}

char* putUtf8(char* to, std::uint32_t code) noexcept {
  const auto putTail = [&](int shift) { *to++ = static_cast<char>(0x80 | (code >> shift & 0x3f)); };
  if (code < 0x80) {
    *to++ = static_cast<char>(code);
  } else if (code < 0x800) {
    *to++ = static_cast<char>(0xc0 | code >> 6);
    putTail(0);
  } else if (code < 0x10000) {
    *to++ = static_cast<char>(0xe0 | code >> 12);
    putTail(6), putTail(0);
  } else {
    *to++ = static_cast<char>(0xf0 | code >> 18);
    putTail(12), putTail(6), putTail(0);
  }
  return to;
}

/// Reads what follows "\u", with the second half where it is a surrogate pair, and writes it to `to`.
char* readUnicodeEscape(char* next, char*& to) noexcept {
  std::uint32_t code = readCode(next);
  if (code == kNoCode) return nullptr;
  next += 4;
  if (code >= 0xd800 && code < 0xe000) {
    if (code >= 0xdc00 || next[0] != '\\' || next[1] != 'u') return nullptr;
    const std::uint32_t low = readCode(next + 2);
    if (low < 0xdc00 || low >= 0xe000) return nullptr;
    code = 0x10000 + ((code - 0xd800) << 10) + (low - 0xdc00);
    next += 6;
  }
  to = putUtf8(to, code);
  return next;
}

/// Reads what follows a backslash and writes what it means, which is never longer, to `to`.
char* readEscape(char* next, char*& to) noexcept {
  constexpr std::string_view kNames = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  if (*next == 'u') return readUnicodeEscape(next + 1, to);
  const std::size_t which = kNames.find(*next);
  if (which == std::string_view::npos) return nullptr;
  *to++ = kMeanings[which];
  return next + 1;
}

}  // namespace

char* readStringOn(char* start, char* next, std::string_view& value) noexcept {
  next = skipPlain(next);
  char* to = next;
  while (next != nullptr && *next == '\\') {
    char* const rest = readEscape(next + 1, to);
    if (rest == nullptr) return nullptr;
    next = skipPlain(rest);
    if (next == nullptr) return nullptr;
    const auto count = static_cast<std::size_t>(next - rest);
    std::memmove(to, rest, count);
    to += count;
  }
  if (next == nullptr || *next != '"') return nullptr;
  value = {start, static_cast<std::size_t>(to - start)};
  return next + 1;
}

}  // namespace vantrel::json::detail
