#include "vantrel/codec/detail/HexText.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <optional>

#include "vantrel/base/Utf8.h"
#include "vantrel/codec/detail/HexKernels.h"

namespace vantrel::codec::detail {
namespace {

// Text that is not clean is read in pieces of this size, then the fast loop is tried again.
constexpr std::size_t kPiece = 512;

int digitValue(std::uint8_t c) {
  if (c >= '0' && c <= '9') return c - '0';
  const std::uint8_t lower = c | 0x20;
  return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

bool isWhite(std::uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

// What strtol of base 16 makes of the two characters. A prefix "0x" needs no case of its own: without a digit
// behind it, it counts as the 0.
std::uint8_t pairValue(std::uint8_t first, std::uint8_t second) {
  const int high = digitValue(first);
  const int low = digitValue(second);
  if (high >= 0) return static_cast<std::uint8_t>(low >= 0 ? high << 4 | low : high);
  if (low < 0) return 0;
  if (first == '-') return static_cast<std::uint8_t>(-low);
  return static_cast<std::uint8_t>(isWhite(first) || first == '+' ? low : 0);
}

bool isAscii(char c) { return static_cast<std::uint8_t>(c) < 0x80; }

// A piece from the front that ends where no character of several bytes is cut through.
std::string_view pieceOf(std::string_view text) {
  if (text.size() <= kPiece) return text;
  constexpr std::size_t kLongestTail = 3;
  for (std::size_t back = 0; back <= kLongestTail; ++back) {
    const bool continues = (static_cast<std::uint8_t>(text[kPiece - back]) & 0xC0) == 0x80;
    if (!continues) return text.substr(0, kPiece - back);
  }
  return text.substr(0, kPiece);  // not UTF-8 here, and nothing to keep together
}

class Reader {
 public:
  explicit Reader(std::uint8_t* bytes) : bytes_(bytes) {}

  std::size_t read(std::string_view text) {
    while (!text.empty()) {
      if (!pending_) {
        const std::size_t clean = decodeHex(text.data(), text.size() / 2, bytes_ + count_);
        count_ += clean;
        text.remove_prefix(2 * clean);
      }
      const std::string_view piece = pieceOf(text);
      if (!readSpaced(piece)) readAny(piece);
      text.remove_prefix(piece.size());
    }
    return count_;
  }

 private:
  // Digits and spaces; false, and nothing read, for anything else.
  bool readSpaced(std::string_view piece) {
    char digits[kPiece + 1];
    std::size_t length = 0;
    if (pending_) digits[length++] = static_cast<char>(*pending_);
    length += removeSpaces(piece.data(), piece.size(), digits + length);
    const std::size_t pairs = length / 2;
    const bool odd = length % 2 != 0;
    if (odd && !isAscii(digits[length - 1])) return false;
    if (decodeHex(digits, pairs, bytes_ + count_) != pairs) return false;
    count_ += pairs;
    pending_.reset();
    if (odd) pending_ = static_cast<std::uint8_t>(digits[length - 1]);
    return true;
  }

  void readAny(std::string_view piece) {
    if (std::ranges::all_of(piece, isAscii)) {
      for (char c : piece) readUnit(static_cast<std::uint8_t>(c));
    } else {
      for (char16_t unit : text::utf16(piece)) readUnit(unit);
    }
  }

  void readUnit(char16_t unit) {
    if (unit == u' ') return;
    const auto low = static_cast<std::uint8_t>(unit);
    if (pending_) {
      bytes_[count_++] = pairValue(*pending_, low);
      pending_.reset();
    } else {
      pending_ = low;
    }
  }

  std::uint8_t* bytes_;
  std::size_t count_ = 0;
  std::optional<std::uint8_t> pending_;  // the first of a pair whose second is in the next piece
};

}  // namespace

std::string hexOf(std::span<const std::uint8_t> bytes) {
  const std::size_t length = 2 * bytes.size();
  std::string text;
#ifdef __cpp_lib_string_resize_and_overwrite
  // Zeroing the text first would cost about as much as writing it. The size handed to the function is no use:
  // GCC 12 passes the capacity.
  text.resize_and_overwrite(length, [&](char* room, std::size_t) {
    encodeHex(bytes.data(), bytes.size(), room);
    return length;
  });
#else
  text.resize(length);
  encodeHex(bytes.data(), bytes.size(), text.data());
#endif
  return text;
}

Bytes bytesOfHex(std::string_view text) {
  const std::size_t most = text.size() / 2;
  if (most == 0) return {};
  const std::shared_ptr<std::uint8_t[]> room = std::make_shared_for_overwrite<std::uint8_t[]>(most);
  const std::span<const std::uint8_t> bytes(room.get(), Reader(room.get()).read(text));
  // Text of little but spaces should not hold on to the memory that digits would have needed.
  return bytes.size() < most / 2 ? Bytes::copyOf(bytes) : Bytes::sharing(bytes, room);
}

}  // namespace vantrel::codec::detail
