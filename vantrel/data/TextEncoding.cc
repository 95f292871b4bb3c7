#include "vantrel/data/TextEncoding.h"
#include "vantrel/base/Utf8.h"

#include <unicode/ucnv.h>
#include <unicode/ucnv_cb.h>

#include <algorithm>
#include <array>
#include <memory>
#include <span>
#include <string>

namespace vantrel::text {
namespace {

/// A character that a converter gives in place of the one that is meant; `kNone` where none is.
struct Repair {
  char16_t given;
  char16_t meant;
};

constexpr char16_t kNone = 0xFFFF;

// IBM's tables, which converters of DOS pages and of Japanese ones are made from, turn these controls around.
constexpr auto kControls = std::to_array<Repair>({{0x1C, 0x1A}, {0x7F, 0x1C}, {0x1A, 0x7F}});
constexpr auto kPage437 = std::to_array<Repair>({{0x1C, 0x1A}, {0x7F, 0x1C}, {0x1A, 0x7F}, {0x03BC, 0x00B5}});

// A byte 0xFF that stands for nothing is given as a private character.
constexpr auto kPage936 = std::to_array<Repair>({{0xF8F5, kNone}});
constexpr auto kPage949 = std::to_array<Repair>({{0xF8F7, kNone}});
constexpr auto kPage950 = std::to_array<Repair>({{0xF8F8, kNone}});

constexpr auto kGb2312 = std::to_array<Repair>({{0x00B4, 0xFF07}});
constexpr auto kIso2022Kr = std::to_array<Repair>({{0x30FB, 0x00B7},
                                                   {0x2010, 0x00AD},
                                                   {0x2014, 0x2015},
                                                   {0x301C, 0x223C},
                                                   {0x02DC, 0xFF5E},
                                                   {0x25C9, 0x2299}});

// ICU reads GB 18030 in its edition of 2005, which trades the places of these two characters; all others are
// those of 2000.
constexpr auto kEditionOf2000 = std::to_array<Repair>({{0x1E3F, 0xE7C7}, {0xE7C7, 0x1E3F}});

/// A numbered encoding, the converter's name and what it has to be corrected by.
struct Encoding {
  std::uint64_t number;
  const char* converter;
  std::span<const Repair> repairs = {};
};

/// Encodings that the platform numbers by adding this bit to its second, older numbering.
constexpr std::uint64_t kOlder = 0x80000000;
constexpr std::uint64_t kHz = kOlder | 0x0A05;
constexpr std::uint64_t kGb2312Number = kOlder | 0x0930;

// In the order of their numbers. UTF-8 is not among them; 10 and 0x8c000100 are the forms whose byte order a
// mark tells, little-endian without one.
constexpr std::array kEncodings = std::to_array<Encoding>({
    {1, "US-ASCII"},
    {3, "EUC-JP"},
    {5, "ISO-8859-1"},
    {8, "windows-31j", kControls},
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
    {kOlder | 0x020B, "ISO-8859-11"},
    {kOlder | 0x020D, "ISO-8859-13"},
    {kOlder | 0x020E, "ISO-8859-14"},
    {kOlder | 0x020F, "ISO-8859-15"},
    {kOlder | 0x0400, "IBM437", kPage437},
    {kOlder | 0x0410, "IBM850", kControls},
    {kOlder | 0x0412, "IBM852", kControls},
    {kOlder | 0x041B, "IBM866", kControls},
    {kOlder | 0x0420, "windows-31j", kControls},
    {kOlder | 0x0421, "windows-936", kPage936},
    {kOlder | 0x0422, "windows-949", kPage949},
    {kOlder | 0x0423, "windows-950", kPage950},
    {kOlder | 0x0500, "windows-1252"},
    {kOlder | 0x0501, "windows-1250"},
    {kOlder | 0x0502, "windows-1251"},
    {kOlder | 0x0503, "windows-1253"},
    {kOlder | 0x0504, "windows-1254"},
    {kOlder | 0x0505, "windows-1255"},
    {kOlder | 0x0506, "windows-1256"},
    {kOlder | 0x0507, "windows-1257"},
    {kOlder | 0x0508, "windows-1258"},
    {kOlder | 0x0631, "GBK", kPage936},
    {kGb18030, "gb18030", kEditionOf2000},
    {kOlder | 0x0820, "ISO-2022-JP"},
    {kOlder | 0x0821, "ISO-2022-JP-2"},
    {kOlder | 0x0840, "ISO_2022,locale=ko,version=1", kIso2022Kr},
    {kOlder | 0x0920, "EUC-JP"},
    {kGb2312Number, "GB2312", kGb2312},
    {kOlder | 0x0931, "EUC-TW"},
    {kOlder | 0x0940, "EUC-KR"},
    {kOlder | 0x0A01, "Shift_JIS", kControls},
    {kOlder | 0x0A02, "KOI8-R"},
    {kOlder | 0x0A03, "Big5", kPage950},
    {kHz, "HZ-GB-2312"},
    {kOlder | 0x0A06, "Big5-HKSCS"},
    {kOlder | 0x0A08, "KOI8-U"},
    {0x8c000100, "UTF-32LE"},
    {0x90000100, "UTF-16BE"},
    {kUtf16LittleEndian, "UTF-16LE"},
    {0x98000100, "UTF-32BE"},
    {0x9c000100, "UTF-32LE"},
});
static_assert(std::ranges::is_sorted(kEncodings, {}, &Encoding::number));

const Encoding* find(std::uint64_t number) {
  const auto found = std::ranges::lower_bound(kEncodings, number, {}, &Encoding::number);
  return found != kEncodings.end() && found->number == number ? &*found : nullptr;
}

/// A code that a converter does not know.
struct Gap {
  std::string_view converter;
  std::string_view bytes;
  char16_t meant;
};

constexpr auto kGaps = std::to_array<Gap>(
    {{"IBM852", "\xAA", 0x00AC}, {"EUC-KR", "\xA2\xE6", 0x20AC}, {"EUC-KR", "\xA2\xE7", 0x00AE}});

/// Fills gaps, and stops at everything else that is unassigned or invalid.
void fillGap(const void* converter, UConverterToUnicodeArgs* args, const char* bytes, std::int32_t count,
             UConverterCallbackReason reason, UErrorCode* status) {
  if (reason != UCNV_UNASSIGNED) return;
  const std::string_view code(bytes, static_cast<std::size_t>(count));
  for (const Gap& gap : kGaps) {
    if (gap.bytes != code || gap.converter != static_cast<const char*>(converter)) continue;
    *status = U_ZERO_ERROR;
    ucnv_cbToUWriteUChars(args, &gap.meant, 1, 0, status);
  }
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
    ucnv_setToUCallBack(converter.get(), fillGap, name, nullptr, nullptr, &status);
  }
  return U_SUCCESS(status) ? std::move(converter) : nullptr;
}

Error notText(std::optional<std::size_t> offset = std::nullopt) {
  if (!offset) return Error::saying(kErrorDomain, kNotText, "not valid text in this encoding");
  Error error = Error::saying(kErrorDomain, kNotText,
                              "byte " + std::to_string(*offset) + ": not valid text in this encoding");
  error.info.set("offset", *offset);
  return error;
}

/// Of the bytes that the converter has stopped at.
std::size_t invalidLength(UConverter& converter) {
  std::array<char, 32> bytes;
  auto length = static_cast<std::int8_t>(bytes.size());
  UErrorCode status = U_ZERO_ERROR;
  ucnv_getInvalidChars(&converter, bytes.data(), &length, &status);
  return U_SUCCESS(status) && length > 0 ? static_cast<std::size_t>(length) : 0;
}

// The converter takes at most 2 GiB at once, so the bytes go in by pieces. So many stood before them.
Result<std::u16string> convert(UConverter& converter, std::string_view bytes, std::size_t before) {
  const std::size_t whole = before + bytes.size();
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
    if (U_FAILURE(status) && status != U_BUFFER_OVERFLOW_ERROR) {
      const auto passed = whole - bytes.size() + static_cast<std::size_t>(from - bytes.data());
      return notText(passed - std::min(passed, invalidLength(converter)));
    }
    result.append(units.data(), to);
    bytes.remove_prefix(static_cast<std::size_t>(from - bytes.data()));
  } while (!bytes.empty() || status == U_BUFFER_OVERFLOW_ERROR);
  return result;
}

/// False where a character stands for none.
bool repair(std::u16string& text, std::span<const Repair> repairs) {
  for (char16_t& unit : text) {
    const auto found = std::ranges::find(repairs, unit, &Repair::given);
    if (found == repairs.end()) continue;
    if (found->meant == kNone) return false;
    unit = found->meant;
  }
  return true;
}

Result<std::u16string> decodeStrictly(std::string_view contents, const char* converterName,
                                      std::size_t before = 0) {
  const Converter converter = openStrict(converterName);
  if (!converter) return Error::saying(kErrorDomain, kUnknownEncoding, "the encoding's table is missing");
  return convert(*converter, contents, before);
}

/// Whether the text ends within an escape of HZ, of which the converter says nothing.
bool endsInEscape(std::string_view contents, const Encoding& encoding, const std::u16string& text) {
  if (encoding.number != kHz || !contents.ends_with('~')) return false;
  contents.remove_suffix(1);
  return decodeStrictly(contents, encoding.converter) == text;
}

/// Whether there are codes that GB 2312 leaves free, for which its converter gives private characters, and
/// others in row 0xFE.
bool hasFreeCode(std::string_view contents, const Encoding& encoding, const std::u16string& text) {
  if (encoding.number != kGb2312Number) return false;
  for (std::size_t i = 0; i < contents.size(); ++i) {
    const auto lead = static_cast<unsigned char>(contents[i]);
    if (lead == 0xFE) return true;
    if (lead >= 0x80) ++i;
  }
  return std::ranges::any_of(text, [](char16_t unit) { return unit >= 0xE000 && unit <= 0xF8FF; });
}

}  // namespace

Result<std::string> decode(const Bytes& bytes, std::uint64_t encoding) {
  std::string_view contents = bytes.text();
  if (encoding == kUtf8) {
    const std::size_t valid = validUtf8Prefix(contents);
    if (valid != contents.size()) return notText(valid);
    return std::string(contents);
  }
  const Encoding* const known = find(encoding);
  if (known == nullptr) {
    return Error::saying(kErrorDomain, kUnknownEncoding, "unknown encoding " + std::to_string(encoding));
  }
  const char* name = known->converter;
  for (const Mark& mark : kMarks) {
    if (mark.encoding != encoding || !contents.starts_with(mark.bytes)) continue;
    contents.remove_prefix(mark.bytes.size());
    name = mark.converter;
    break;
  }
  auto units = decodeStrictly(contents, name, bytes.size() - contents.size());
  if (!units) return Result<std::string>::failed(units);
  if (endsInEscape(contents, *known, *units) || hasFreeCode(contents, *known, *units)) return notText();
  if (!known->repairs.empty() && !repair(*units, known->repairs)) return notText();
  return utf8(*units);
}

}  // namespace vantrel::text
