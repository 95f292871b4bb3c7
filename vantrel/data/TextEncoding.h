#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"

/// Text in the encodings of the platform's numbering; see Utf8.h for UTF-8 alone. Stateless; any thread.
namespace vantrel::text {

inline constexpr std::uint64_t kUtf8 = 4;
inline constexpr std::uint64_t kUtf16LittleEndian = 0x94000100;
inline constexpr std::uint64_t kGb18030 = 0x80000632;

/// The domain of the errors that `decode` gives, and their codes.
inline constexpr const char* kErrorDomain = "vantrel.text";
enum ErrorCode : std::int64_t {
  kNotText = 1,  ///< `info` has the "offset" of the first byte that is wrong, where it is known
  kUnknownEncoding = 2,
};

/// Decodes strictly: fails when the bytes are not valid text in that encoding (overlong forms, lone
/// surrogates, odd lengths, unassigned codes, sequences that are cut off) or the number is not known. A
/// byte-order mark is text like any other in the three above. GB 18030 is that of 2000.
///
/// Further numbers: 1 ASCII, 3 EUC-JP, 5 ISO 8859-1, 8 Shift-JIS of Windows, 9 ISO 8859-2, 10 UTF-16 and
/// 0x8c000100 UTF-32 (a byte-order mark tells the order and is taken away; little-endian without one), 11 to
/// 15 Windows 1251, 1252, 1253, 1254, 1250, 21 ISO-2022-JP, 30 Mac Roman, 0x90000100 UTF-16 big-endian,
/// 0x98000100 and 0x9c000100 UTF-32 big- and little-endian; and 0x80000000 plus
/// - 0x201 to 0x20F without 0x20C: ISO 8859-1 to 15
/// - 0x400, 0x410, 0x412, 0x41B: DOS pages 437, 850, 852, 866
/// - 0x420 to 0x423: code pages 932 (Shift-JIS of Windows), 936, 949, 950
/// - 0x500 to 0x508: Windows 1252, 1250, 1251, 1253 to 1258
/// - 0x631 GBK, 0x820 ISO-2022-JP, 0x821 ISO-2022-JP-2, 0x840 ISO-2022-KR, 0x920 EUC-JP, 0x930 GB 2312 (EUC),
///   0x931 EUC-TW, 0x940 EUC-KR, 0xA01 Shift-JIS, 0xA02 KOI8-R, 0xA03 Big5, 0xA05 HZ, 0xA06 Big5-HKSCS, 0xA08
///   KOI8-U
///
/// Where published tables differ, these are as on Windows: the Japanese ones give full-width forms (U+FF5E
/// for the wave dash) and know the characters that vendors added; GBK is code page 936 and Big5 950, with
/// private characters for users' own; a free byte from 0x80 to 0x9F of a Windows page is the control of that
/// number. Big5-HKSCS gives what Unicode took up only in 2005 as private characters, EUC-KR
/// its two free rows, as page 949 does.
VANTREL_EXPORT Result<std::string> decode(const Bytes& bytes, std::uint64_t encoding);

}  // namespace vantrel::text
