#include "vantrel/platform/data/TextEncoding.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <memory>
#include <span>

namespace vantrel::text {
namespace {

/// A numbered encoding and the converter's name.
struct Encoding {
  std::uint64_t number;
  const char* converter;
};

/// Encodings that the platform numbers by adding this bit to its second, older numbering.
constexpr std::uint64_t kOlder = 0x80000000;

// In the order of their numbers. UTF-8 is not among them; 10 and 0x8c000100 are the forms whose byte order a
// mark tells, little-endian without one.
constexpr std::array kEncodings = std::to_array<Encoding>({
    {1, "US-ASCII"},
    {3, "EUC-JP"},
    {5, "ISO-8859-1"},
    {8, "windows-31j"},
    {9, "ISO-8859-2"},
    {10, "UTF-16LE"},
    {11, "windows-1251"},
    {12, "windows-1252"},
    {13, "windows-1253"},
    {14, "windows-1254"},
    {15, "windows-1250"},
    {21, "ISO-2022-JP"},
    {30, "macintosh"},
    {kOlder | 0x0201, "ISO-8859-1"},
    {kOlder | 0x0202, "ISO-8859-2"},
    {kOlder | 0x0203, "ISO-8859-3"},
    {kOlder | 0x0204, "ISO-8859-4"},
    {kOlder | 0x0205, "ISO-8859-5"},
    {kOlder | 0x0206, "ISO-8859-6"},
    {kOlder | 0x0207, "ISO-8859-7"},
    {kOlder | 0x0208, "ISO-8859-8"},
    {kOlder | 0x0209, "ISO-8859-9"},
    {kOlder | 0x020A, "ISO-8859-10"},
    {kOlder | 0x020B, "TIS-620"},
    {kOlder | 0x020D, "ISO-8859-13"},
    {kOlder | 0x020E, "ISO-8859-14"},
    {kOlder | 0x020F, "ISO-8859-15"},
    {kOlder | 0x0400, "IBM437"},
    {kOlder | 0x0410, "IBM850"},
    {kOlder | 0x0412, "IBM852"},
    {kOlder | 0x041B, "IBM866"},
    {kOlder | 0x0420, "windows-31j"},
    {kOlder | 0x0421, "windows-936"},
    {kOlder | 0x0422, "windows-949"},
    {kOlder | 0x0423, "windows-950"},
    {kOlder | 0x0500, "windows-1252"},
    {kOlder | 0x0501, "windows-1250"},
    {kOlder | 0x0502, "windows-1251"},
    {kOlder | 0x0503, "windows-1253"},
    {kOlder | 0x0504, "windows-1254"},
    {kOlder | 0x0505, "windows-1255"},
    {kOlder | 0x0506, "windows-1256"},
    {kOlder | 0x0507, "windows-1257"},
    {kOlder | 0x0508, "windows-1258"},
    {kOlder | 0x0631, "GBK"},
    {kGb18030, "gb18030"},
    {kOlder | 0x0820, "ISO-2022-JP"},
    {kOlder | 0x0821, "ISO-2022-JP-2"},
    {kOlder | 0x0840, "ISO-2022-KR"},
    {kOlder | 0x0920, "EUC-JP"},
    {kOlder | 0x0930, "GB2312"},
    {kOlder | 0x0931, "EUC-TW"},
    {kOlder | 0x0940, "EUC-KR"},
    {kOlder | 0x0A01, "Shift_JIS"},
    {kOlder | 0x0A02, "KOI8-R"},
    {kOlder | 0x0A03, "Big5"},
    {kOlder | 0x0A05, "HZ-GB-2312"},
    {kOlder | 0x0A06, "Big5-HKSCS"},
    {kOlder | 0x0A08, "KOI8-U"},
    {0x8c000100, "UTF-32LE"},
    {0x90000100, "UTF-16BE"},
    {kUtf16LittleEndian, "UTF-16LE"},
    {0x98000100, "UTF-32BE"},
    {0x9c000100, "UTF-32LE"},
});
static_assert(std::ranges::is_sorted(kEncodings, {}, &Encoding::number));

const char* converterOf(std::uint64_t encoding) {
  const auto found = std::ranges::lower_bound(kEncodings, encoding, {}, &Encoding::number);
  return found != kEncodings.end() && found->number == encoding ? found->converter : nullptr;
}

/// A byte-order mark of one of the two forms that look for it.
struct Mark {
  std::uint64_t encoding;
  std::string_view bytes;
  const char* converter;
};

constexpr std::array kMarks = std::to_array<Mark>({
    {10, std::string_view("\xFF\xFE", 2), "UTF-16LE"},
    {10, std::string_view("\xFE\xFF", 2), "UTF-16BE"},
    {0x8c000100, std::string_view("\xFF\xFE\0\0", 4), "UTF-32LE"},
    {0x8c000100, std::string_view("\0\0\xFE\xFF", 4), "UTF-32BE"},
});

struct CloseConverter {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, CloseConverter>;

/// A converter that stops at what is invalid or unassigned.
Converter openStrict(const char* name) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter(ucnv_open(name, &status));
  if (converter) {
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr, &status);
  }
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

// The converter takes at most 2 GiB at once, so the bytes go in by pieces.
std::optional<std::u16string> convert(UConverter& converter, std::string_view bytes) {
  constexpr std::size_t kPiece = 16384;
  std::array<char16_t, kPiece> units;
  std::u16string result;
  result.reserve(bytes.size() / 2);
  UErrorCode status = U_ZERO_ERROR;
  do {
    const bool last = bytes.size() <= kPiece;
    const char* from = bytes.data();
    char16_t* to = units.data();
    status = U_ZERO_ERROR;
    ucnv_toUnicode(&converter, &to, units.data() + units.size(), &from, from + std::min(bytes.size(), kPiece),
                   nullptr, last, &status);
    if (U_FAILURE(status) && status != U_BUFFER_OVERFLOW_ERROR) return std::nullopt;
    result.append(units.data(), to);
    bytes.remove_prefix(static_cast<std::size_t>(from - bytes.data()));
  } while (!bytes.empty() || status == U_BUFFER_OVERFLOW_ERROR);
  return result;
}

// ICU reads GB 18030 in its edition of 2005, which trades the places of these two characters; all others are
// those of 2000.
void asIn2000(std::u16string& text) {
  constexpr char16_t kMacute = 0x1E3F;
  constexpr char16_t kPrivate = 0xE7C7;
  for (char16_t& unit : text) {
    if (unit == kMacute) {
      unit = kPrivate;
    } else if (unit == kPrivate) {
      unit = kMacute;
    }
  }
}

}  // namespace

std::optional<std::string> decode(const Bytes& bytes, std::uint64_t encoding) {
  std::string_view contents = bytes.text();
  if (encoding == kUtf8) {
    return isValidUtf8(contents) ? std::optional(std::string(contents)) : std::nullopt;
  }
  const char* name = converterOf(encoding);
  for (const Mark& mark : kMarks) {
    if (mark.encoding != encoding || !contents.starts_with(mark.bytes)) continue;
    contents.remove_prefix(mark.bytes.size());
    name = mark.converter;
    break;
  }
  const Converter converter = name ? openStrict(name) : nullptr;
  if (!converter) return std::nullopt;
  auto units = convert(*converter, contents);
  if (units && encoding == kGb18030) asIn2000(*units);
  return units ? std::optional(utf8(*units)) : std::nullopt;
}

}  // namespace vantrel::text
