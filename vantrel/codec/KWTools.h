#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"
#include "vantrel/base/ValueTree.h"

namespace vantrel {

/// Conversions between bytes, hexadecimal text, integers, text encodings and JSON, and the user's settings.
///
/// Every operation takes absent arguments (`std::nullopt`, a null `const char*`); absent and empty results
/// are different things. Integers are written least significant byte first unless `Endian` is true, whatever
/// the processor. Hexadecimal text is written in lowercase, two digits a byte, without separators.
///
/// Threads: all operations from any thread at once; they keep no state of their own. Each group below is a
/// source of its own: of static archives, a program links only what the groups it uses need.
class VANTREL_EXPORT KWTools {
 public:
  KWTools() = delete;

  // ---- Hexadecimal text

  /// Reads hexadecimal text; nothing is an error. Spaces (U+0020) are dropped, what is left is taken in pairs
  /// of UTF-16 code units, and an unpaired last one is ignored. Of each unit the low 8 bits count, and the
  /// pair gives what C's `strtol` with base 16 reads from it (C locale), modulo 256. Absent text gives empty
  /// bytes.
  ///
  ///   "AB cd EF" -> AB CD EF    "abc" -> AB    "5z" -> 05    "zz" -> 00    "-1" -> FF    "0x1F" -> 00 1F
  static Bytes HexToData(TextArgument text);

  /// Two digits a byte; "" for empty or absent data. 00 0A FF -> "000aff".
  static std::string dataToHex(const std::optional<Bytes>& data);

  /// The same text as `dataToHex`.
  static std::string dataChangeToString(const std::optional<Bytes>& data);

  // ---- Bytes and integers

  /// The data with zero bytes appended up to the next multiple of `length`: 17 bytes and 16 give 32. Data of
  /// a fitting size, and any data when `length` is 0 or less, come back as they are. Absent for absent data
  /// and for a result that memory cannot hold.
  static std::optional<Bytes> alignment_length(const std::optional<Bytes>& data, std::int64_t length);

  /// 4 bytes. 0x12345678 -> 78 56 34 12, with `Endian` 12 34 56 78.
  static Bytes uInt32_data(std::uint32_t value);
  static Bytes uInt32_data_Endian(std::uint32_t value, bool Endian);

  /// 2 bytes. 0x0102 -> 02 01, with `Endian` 01 02.
  static Bytes uInt16_data(std::uint16_t value);
  static Bytes uInt16_data_Endian(std::uint16_t value, bool Endian);

  /// 1 byte.
  static Bytes uInt8_data(std::uint8_t value);

  /// The bytes in reverse order, of any length; empty for absent data.
  static Bytes changeBigOrSmall(const std::optional<Bytes>& data);

  /// Reads the data as one big-endian unsigned number. It is summed up in a `double`, digit by digit from the
  /// front, so up to 6 bytes are exact, 7 and 8 are rounded, and what reaches 2^63 gives 2^63 - 1. Leading
  /// zero bytes count for nothing. 0 for empty or absent data.
  static std::int64_t dataToInt(const std::optional<Bytes>& data);

  /// The value of one hexadecimal digit: "a" to "f" and "A" to "F" give 10 to 15. Any other text gives its
  /// leading decimal integer after white space and with an optional sign, clamped to 32 bits, 0 when there is
  /// none. "7" -> 7, "12" -> 12, " 9" -> 9, "ff" -> 0. 0 for absent text.
  static std::int32_t StringToInt(TextArgument text);

  /// The low 8 bits of `dataToInt` as a signed number: for up to 6 bytes, the last byte. 01 FE -> -2.
  static std::int32_t getNaturalNumber(const std::optional<Bytes>& data);

  /// `L` bytes from offset `R` on, both taken as unsigned; shares the memory. A range that reaches past the
  /// end is cut there, and absent when it also begins at or behind the end: of 10 bytes, R 8 L 5 gives 2, R
  /// 10 L 0 empty, R 10 L 1 and R 12 L 0 absent. Absent for absent data.
  static std::optional<Bytes> data_R_L(const std::optional<Bytes>& data, std::int64_t R, std::int64_t L);

  // ---- Text

  /// Decodes text strictly; `Encode` is the platform's number of an encoding: 4 is UTF-8, 0x94000100 UTF-16
  /// little-endian, 0x80000632 GB 18030; `text::decode` knows the rest. Empty data give "". Absent for bytes
  /// that are not valid in that encoding, for an unknown number, and for absent data.
  static std::optional<std::string> string_Encode(const std::optional<Bytes>& data, std::uint64_t Encode);

  /// The strings one after the other; "" for an empty or absent list.
  static std::string string(const std::optional<std::span<const std::string>>& list);
  static std::string string(std::initializer_list<TextArgument> list);

  /// `string_Encode` with UTF-16 little-endian; a byte-order mark is neither needed nor taken away.
  static std::optional<std::string> stringUnicode(const std::optional<Bytes>& data);

  /// `string_Encode` with UTF-8 (not a code page, in spite of its name).
  static std::optional<std::string> stringANSI(const std::optional<Bytes>& data);

  /// `string_Encode` with GB 18030, of which GBK is a part.
  static std::optional<std::string> stringGBK(const std::optional<Bytes>& data);

  // ---- JSON and archives

  /// Reads JSON text (RFC 8259, UTF-8) with a value of any kind; see `json::parse`. Absent when it is not
  /// valid, and for absent data.
  static std::optional<ValueTree> jsonWithData(const std::optional<Bytes>& data);

  /// JSON text with one member a line, indented. Absent for an absent argument, for another kind than a
  /// dictionary (a list), and for what JSON cannot hold: dates, bytes, NaN, infinities.
  static std::optional<std::string> dictionaryToJson(const std::optional<ValueTree>& dictionary);
  static std::optional<std::string> arrayToJson(const std::optional<ValueTree>& array);

  /// A keyed archive with the value under "Some Key Value"; an absent value is archived as nothing. Absent
  /// for what an archive cannot hold; see `keyedarchive::archive`.
  static std::optional<Bytes> makeDataByDictionary(const std::optional<ValueTree>& dictionary);

  /// The value under "Some Key Value" of an archive, also of one from elsewhere. Absent when there is none,
  /// and for bytes that are no archive.
  static std::optional<ValueTree> makeDictionaryByData(const std::optional<Bytes>& data);

  // ---- Settings, those of `Host::current()`; see `SettingsStore` for what it keeps and when it writes

  /// Stores the value under the key; an absent or null value removes the entry. Nothing happens without a
  /// key, or with a value that a property list cannot hold.
  static void setUser_forKey(const std::optional<ValueTree>& value, TextArgument key);

  /// The stored value; absent when there is none.
  static std::optional<ValueTree> getUserByKey(TextArgument key);

  /// Deletes the entry.
  static void removeUserByKey(TextArgument key);
};

}  // namespace vantrel
