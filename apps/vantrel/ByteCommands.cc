#include <algorithm>
#include <limits>

#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/platform/data/TextEncoding.h"

namespace app {
namespace {

using vantrel::Bytes;
using vantrel::KWTools;

int hex(const std::string& path) {
  bool written = true;
  const bool read =
      readPieces(path, [&](const Bytes& piece) { return written = write(KWTools::dataToHex(piece)); });
  if (!read || !written) return kFailed;
  return write("\n") ? kDone : kFailed;
}

/// Standard input may be laid out in lines, which are no part of the hexadecimal text.
std::string withoutLineEnds(const Bytes& piece) {
  std::string text(piece.text());
  std::erase_if(text, [](char c) { return c == '\n' || c == '\r' || c == ' '; });
  return text;
}

/// Digits are taken in pairs, so pieces of an even length can be converted one by one; a length counts
/// characters, which bytes tell only for ASCII, so other text waits for the end.
int unhexStandardInput() {
  std::string held;
  bool written = true;
  const auto convert = [&](std::size_t length) {
    written = write(KWTools::HexToData(held.substr(0, length)).text());
    held.erase(0, length);
    return written;
  };
  const bool read = readPieces("-", [&](const Bytes& piece) {
    held += withoutLineEnds(piece);
    const bool ascii = std::all_of(held.begin(), held.end(), [](unsigned char c) { return c < 0x80; });
    return !ascii || convert(held.size() / 2 * 2);
  });
  return read && written && convert(held.size()) ? kDone : kFailed;
}

int unhex(const std::string& text) {
  if (text == "-") return unhexStandardInput();
  return write(KWTools::HexToData(text).text()) ? kDone : kFailed;
}

int encodeInteger(const std::string& text, std::int64_t bits, bool bigEndian) {
  if (bits != 8 && bits != 16 && bits != 32) return wrongUsage("--bits must be 8, 16 or 32");
  const auto value = parseUnsigned(text);
  if (!value || *value > std::numeric_limits<std::uint32_t>::max() >> (32 - bits))
    return wrongUsage("VALUE must be a number from 0 to " +
                      std::to_string(std::numeric_limits<std::uint32_t>::max() >> (32 - bits)) + ": " + text);
  const auto number = static_cast<std::uint32_t>(*value);
  const Bytes bytes = bits == 8 ? KWTools::uInt8_data(static_cast<std::uint8_t>(number))
                      : bits == 16
                          ? KWTools::uInt16_data_Endian(static_cast<std::uint16_t>(number), bigEndian)
                          : KWTools::uInt32_data_Endian(number, bigEndian);
  return writeLine(KWTools::dataToHex(bytes)) ? kDone : kFailed;
}

std::optional<std::uint64_t> encodingNamed(const std::string& name) {
  if (name == "utf8") return vantrel::text::kUtf8;
  if (name == "utf16le") return vantrel::text::kUtf16LittleEndian;
  if (name == "gb18030") return vantrel::text::kGb18030;
  return parseUnsigned(name);
}

int decodeText(const std::string& hexText, const std::string& encoding) {
  const auto identifier = encodingNamed(encoding);
  if (!identifier) return wrongUsage("--encoding must be utf8, utf16le, gb18030 or a number: " + encoding);
  const auto text = KWTools::string_Encode(KWTools::HexToData(hexText), *identifier);
  if (!text) return failed("not valid text in that encoding");
  return writeLine(*text) ? kDone : kFailed;
}

}  // namespace

void registerByteCommands(Command& program) {
  Command toHex = program.add("hex", "Bytes of a file as hexadecimal text",
                              "vantrel hex picture.png\n"
                              "printf abc | vantrel hex        # 616263");
  const auto file = toHex.argument("FILE", "the file; - or none: standard input", "-");
  toHex.run([=] { return hex(*file); });

  Command fromHex = program.add("unhex", "Hexadecimal text to bytes",
                                "vantrel unhex '48 65 6c 6c 6f' > hello.txt\n"
                                "vantrel unhex < dump.hex > picture.png");
  const auto hexText =
      fromHex.argument("TEXT", "digits in pairs, spaces between; - or none: standard input", "-");
  fromHex.run([=] { return unhex(*hexText); });

  Command integer = program.add("int", "A number as the hexadecimal text of its bytes",
                                "vantrel int 4660 --bits 16            # 3412\n"
                                "vantrel int 0x12345678 --bits 32 --big  # 12345678");
  const auto value = integer.argument("VALUE", "decimal, or hexadecimal behind 0x");
  const auto bits = integer.integerOption("--bits", "width: 8, 16 or 32 (32)", 8, 32);
  const auto big = integer.flag("--big", "most significant byte first");
  integer.run([=] { return encodeInteger(*value, bits->value_or(32), *big); });

  Command toInteger = program.add("toint", "Hexadecimal text of bytes, most significant first, as a number",
                                  "vantrel toint 0100              # 256");
  const auto number = toInteger.argument("HEX", "digits in pairs, spaces between");
  toInteger.run([=] {
    return writeLine(std::to_string(KWTools::dataToInt(KWTools::HexToData(*number)))) ? kDone : kFailed;
  });

  Command text = program.add("text", "Hexadecimal text of encoded text as text",
                             "vantrel text c4e3bac3 --encoding gb18030\n"
                             "vantrel text '60 4f 7d 59' --encoding utf16le");
  const auto encoded = text.argument("HEX", "digits in pairs, spaces between");
  const auto encoding =
      text.option("--encoding", "ENCODING", "utf8, utf16le, gb18030 or an encoding number (utf8)");
  text.run([=] { return decodeText(*encoded, encoding->value_or("utf8")); });
}

}  // namespace app
