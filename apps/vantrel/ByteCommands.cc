#include <limits>

#include "apps/vantrel/Commands.h"
#include "apps/vantrel/HexText.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/data/TextEncoding.h"

namespace app {
namespace {

using vantrel::Bytes;
using vantrel::KWTools;

const std::string kHexHelp = "digits in pairs, white space anywhere; -";

int hex(const std::string& path) {
  bool written = true;
  const bool read =
      readPieces(path, [&](const Bytes& piece) { return written = write(KWTools::dataToHex(piece)); });
  if (!read || !written) return kFailed;
  return write("\n") ? kDone : kFailed;
}

/// Piece by piece: bytes in front of a wrong character may have been written.
int unhexStandardInput() {
  HexText hex;
  bool sound = true;
  bool written = true;
  const bool read = readPieces("-", [&](const Bytes& piece) {
    sound = hex.add(piece.text());
    return sound && (written = write(hex.takePairs().text()));
  });
  return read && sound && written && hex.end() ? kDone : kFailed;
}

/// The bytes that an argument gives in hexadecimal.
std::optional<Bytes> bytesOf(const std::string& argument) {
  const auto text = textOf(argument);
  HexText hex;
  if (!text || !hex.add(*text) || !hex.end()) return std::nullopt;
  return hex.takePairs();
}

int unhex(const std::string& argument) {
  if (argument == "-") return unhexStandardInput();
  const auto bytes = bytesOf(argument);
  return bytes && write(bytes->text()) ? kDone : kFailed;
}

int decodeInteger(const std::string& argument) {
  const auto bytes = bytesOf(argument);
  return bytes && writeLine(std::to_string(KWTools::dataToInt(*bytes))) ? kDone : kFailed;
}

int encodeInteger(const std::string& argument, std::int64_t bits, bool bigEndian) {
  if (bits != 8 && bits != 16 && bits != 32) return wrongUsage("--bits must be 8, 16 or 32");
  const auto text = textOf(argument);
  if (!text) return kFailed;
  const auto value = parseUnsigned(*text);
  if (!value || *value > std::numeric_limits<std::uint32_t>::max() >> (32 - bits))
    return wrongUsage("VALUE must be a number from 0 to " +
                      std::to_string(std::numeric_limits<std::uint32_t>::max() >> (32 - bits)) + ": " +
                      *text);
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
  const auto bytes = bytesOf(hexText);
  if (!bytes) return kFailed;
  const auto text = KWTools::string_Encode(*bytes, *identifier);
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
  const auto hexText = fromHex.argument("TEXT", kHexHelp + " or none: standard input", "-");
  fromHex.run([=] { return unhex(*hexText); });

  Command integer = program.add("int", "A number as the hexadecimal text of its bytes",
                                "vantrel int 4660 --bits 16            # 3412\n"
                                "vantrel int 0x12345678 --bits 32 --big  # 12345678");
  const auto value = integer.argument("VALUE", "decimal, or hexadecimal behind 0x; -: standard input");
  const auto bits = integer.integerOption("--bits", "width: 8, 16 or 32 (32)", 8, 32);
  const auto big = integer.flag("--big", "most significant byte first");
  integer.run([=] { return encodeInteger(*value, bits->value_or(32), *big); });

  Command toInteger = program.add("toint", "Hexadecimal text of bytes, most significant first, as a number",
                                  "vantrel toint 0100              # 256");
  const auto number = toInteger.argument("HEX", kHexHelp + ": standard input");
  toInteger.run([=] { return decodeInteger(*number); });

  Command text = program.add("text", "Hexadecimal text of encoded text as text",
                             "vantrel text c4e3bac3 --encoding gb18030\n"
                             "vantrel text '60 4f 7d 59' --encoding utf16le");
  const auto encoded = text.argument("HEX", kHexHelp + ": standard input");
  const auto encoding =
      text.option("--encoding", "ENCODING", "utf8, utf16le, gb18030 or an encoding number (utf8)");
  text.run([=] { return decodeText(*encoded, encoding->value_or("utf8")); });
}

}  // namespace app
