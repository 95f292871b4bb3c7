#include <algorithm>
#include <cctype>
#include <limits>
#include <span>
#include <vector>

#include "apps/vantrel/Commands.h"
#include "apps/vantrel/Input.h"
#include "apps/vantrel/Output.h"
#include "apps/vantrel/OutputFile.h"
#include "vantrel/base/Log.h"
#include "vantrel/codec/AESx.h"
#include "vantrel/codec/KWGzip.h"
#include "vantrel/codec/KWHmacMD5.h"
#include "vantrel/codec/KWTools.h"
#include "vantrel/codec/kw_crc16.h"

namespace app {
namespace {

using vantrel::AESx;
using vantrel::Bytes;
using vantrel::KWGzip;
using vantrel::KWHmacMD5;
using vantrel::KWTools;

// What a 32-bit length counts.
constexpr std::uint64_t kMostAtOnce = std::numeric_limits<std::uint32_t>::max();

constexpr std::size_t kBlock = 16;
constexpr std::size_t kKeyDigits = 2 * kBlock;

const std::string kFileHelp = "the file; - or none: standard input";
const std::string kLimitedFileHelp = "the file, of up to 4294967295 bytes; - or none: standard input";
const std::string kOutHelp = "the file to write, which may be FILE; -: standard output";

bool areHexDigits(const std::string& text) {
  return std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

std::uint16_t continued(std::uint16_t crc, std::span<const std::uint8_t> bytes) {
  while (!bytes.empty()) {
    const auto length = std::min<std::size_t>(bytes.size(), std::numeric_limits<std::uint16_t>::max());
    crc = kw_count_all_crc_deal(bytes.data(), static_cast<std::uint16_t>(length), crc);
    bytes = bytes.subspan(length);
  }
  return crc;
}

int crc16(const std::string& path, const std::string& start) {
  std::string digits = start;
  if (digits.starts_with("0x") || digits.starts_with("0X")) digits.erase(0, 2);
  if (digits.empty() || digits.size() > 4 || !areHexDigits(digits))
    return wrongUsage("--start must be up to 4 hexadecimal digits: " + start);
  auto crc = static_cast<std::uint16_t>(*parseUnsigned("0x" + digits));
  const auto take = [&](const Bytes& piece) {
    crc = continued(crc, piece.span());
    return true;
  };
  if (!readPieces(path, take)) return kFailed;
  return writeLine(KWTools::dataToHex(KWTools::uInt16_data_Endian(crc, true))) ? kDone : kFailed;
}

int crc32(const std::string& path) {
  const auto contents = readAtMost(path, kMostAtOnce);
  if (!contents) return kFailed;
  const std::uint32_t crc =
      AESx::shared().ns_crc32Buffer_Lenght(contents->data(), static_cast<std::uint32_t>(contents->size()));
  return writeLine(KWTools::dataToHex(KWTools::uInt32_data_Endian(crc, true))) ? kDone : kFailed;
}

void encrypt(std::vector<std::uint8_t>& piece, const Bytes& key) {
  const auto length = static_cast<std::uint32_t>(piece.size());
  piece.resize((piece.size() + kBlock - 1) / kBlock * kBlock);
  AESx::shared().Dcs_EnCodeSrc_Des_Lenghts_Key(piece.data(), piece.data(), length, key.data());
}

void decrypt(std::vector<std::uint8_t>& piece, const Bytes& key) {
  const auto length = static_cast<std::uint32_t>(piece.size());
  AESx::shared().Dcs_DeCodeSrc_Des_Lengths_Key(piece.data(), piece.data(), length, key.data());
}

enum class Direction { Encrypt, Decrypt };

int aes(Direction direction, const std::string& keyDigits, const std::string& path, const std::string& out) {
  if (keyDigits.size() != kKeyDigits || !areHexDigits(keyDigits))
    return wrongUsage("--key must be 32 hexadecimal digits");
  const auto isWhole = [&](std::uint64_t size) {
    return direction == Direction::Encrypt || size % kBlock == 0;
  };
  const auto refuse = [&] { return failed(nameOfInput(path) + ": no whole number of blocks of 16 bytes"); };
  if (!isWhole(sizeOfInput(path).value_or(0))) return refuse();

  const Bytes key = KWTools::HexToData(keyDigits);
  OutputFile file(out);
  bool whole = true;
  bool written = true;
  const bool read = readPieces(path, [&](const Bytes& bytes) {
    whole = isWhole(bytes.size());  // only the last piece may be short
    if (!whole) return false;
    std::vector<std::uint8_t> piece(bytes.begin(), bytes.end());
    direction == Direction::Encrypt ? encrypt(piece, key) : decrypt(piece, key);
    return written = file.write(Bytes(std::move(piece)).text());
  });
  if (!whole) return refuse();
  return read && written ? file.finish() : kFailed;
}

int md5(const std::string& argument, const std::optional<std::string>& key) {
  const auto contents = argument == "-" ? readAll(argument) : Bytes::copyOf(argument);
  if (!contents) return kFailed;
  const std::string_view text = contents->text();
  const std::string digest = key ? KWHmacMD5::HmacMD5String_Key(text, *key) : KWHmacMD5::HmacMD5String(text);
  return writeLine(digest) ? kDone : kFailed;
}

int writeWhole(const std::string& out, const Bytes& contents) {
  OutputFile file(out);
  return file.write(contents.text()) ? file.finish() : kFailed;
}

/// The contents, of which there must be some.
std::optional<Bytes> readSome(const std::string& path) {
  auto contents = readAtMost(path, kMostAtOnce);
  if (!contents || !contents->empty()) return contents;
  message(nameOfInput(path) + ": empty");
  return std::nullopt;
}

int gzip(const std::string& path, const std::string& out) {
  const auto contents = readSome(path);
  if (!contents) return kFailed;
  std::string reason;
  const vantrel::ScopedLogSink sink([&](std::string_view line) { reason = line; });
  const auto stream = KWGzip::gzipData(contents);
  if (stream) return writeWhole(out, *stream);
  // Nothing else goes wrong with so little, and the log line would not be understood.
  constexpr std::size_t kStoredWhole = 200;
  if (contents->size() < kStoredWhole) reason = "too short to compress: it does not shrink";
  return failed(nameOfInput(path) + ": " + reason);
}

int gunzip(const std::string& path, const std::string& out, const std::optional<std::string>& limit) {
  if (limit) {
    const auto bytes = parseUnsigned(*limit);
    if (!bytes) return wrongUsage("--limit must be a number of bytes: " + *limit);
    KWGzip::setUncompressedLimit(*bytes);
  }
  const auto stream = readSome(path);
  if (!stream) return kFailed;
  const auto contents = KWGzip::uncompressZippedData(stream);
  if (contents) return writeWhole(out, *contents);
  return failed(nameOfInput(path) + ": no sound gzip or zlib stream, or one of more than " +
                std::to_string(KWGzip::uncompressedLimit()) + " bytes (see --limit)");
}

void registerChecksums(Command& program) {
  Command crc16Command = program.add("crc16", "CRC-16/XMODEM of a file as 4 hexadecimal digits",
                                     "vantrel crc16 packet.bin\n"
                                     "printf 123456789 | vantrel crc16                # 31c3\n"
                                     "printf 123456789 | vantrel crc16 --start ffff   # 29b1");
  const auto crc16File = crc16Command.argument("FILE", kFileHelp, "-");
  const auto start =
      crc16Command.option("--start", "HEX", "the value to begin with, or to go on from (0000)");
  crc16Command.run([=] { return crc16(*crc16File, start->value_or("0")); });

  Command crc32Command =
      program.add("crc32", "CRC-32 of a file XOR 5354554e (the FINGERPRINT of STUN) as 8 hexadecimal digits",
                  "vantrel crc32 message.bin\n"
                  "printf 123456789 | vantrel crc32   # 98a06c68: the CRC-32 is cbf43926");
  const auto crc32File = crc32Command.argument("FILE", kLimitedFileHelp, "-");
  crc32Command.run([=] { return crc32(*crc32File); });

  Command md5Command =
      program.add("md5", "MD5 of a text in uppercase digits, or its HMAC-MD5 in lowercase ones",
                  "vantrel md5 abc                # 900150983CD24FB0D6963F7D28E17F72\n"
                  "vantrel md5 abc --key secret   # d9bf7c3a63eae7031c4e6d7c9b78ba93");
  const auto text = md5Command.argument(
      "TEXT", "the text, byte by byte as it stands here; -: standard input, to its last byte");
  const auto key = md5Command.option("--key", "KEY", "give the HMAC-MD5 under this key");
  md5Command.run([=] { return md5(*text, *key); });
}

void registerCipher(Command& program) {
  const std::string key = "--key 000102030405060708090a0b0c0d0e0f";
  const std::string encryption = "vantrel aes encrypt " + key + " plain.bin -o secret.bin";
  const std::string decryption = "vantrel aes decrypt " + key + " secret.bin -o plain.bin";
  Command group =
      program.add("aes", "AES-128, block by block without chaining (ECB)", encryption + "\n" + decryption);
  const auto add = [&](Direction direction, Command command, const std::string& fileHelp) {
    const auto file = command.argument("FILE", fileHelp, "-");
    const auto digits = command.requiredOption("--key", "HEX", "the key: 32 hexadecimal digits");
    const auto out = command.requiredOption("-o,--output", "OUT", kOutHelp);
    command.run([=] { return aes(direction, *digits, *file, *out); });
  };
  add(Direction::Encrypt,
      group.add("encrypt", "Encrypts a file; zero bytes fill up its last block of 16", encryption),
      kFileHelp);
  add(Direction::Decrypt,
      group.add("decrypt", "Decrypts a file; zero bytes that filled up its last block stay", decryption),
      "the file, of a multiple of 16 bytes; - or none: standard input");
}

void registerGzip(Command& program) {
  Command packing = program.add("gzip", "Compresses a file to a gzip stream",
                                "vantrel gzip notes.txt -o notes.txt.gz\n"
                                "tar c notes | vantrel gzip -o notes.tar.gz");
  const auto source = packing.argument("FILE", kLimitedFileHelp, "-");
  const auto target = packing.requiredOption("-o,--output", "OUT", kOutHelp);
  packing.run([=] { return gzip(*source, *target); });

  Command unpacking =
      program.add("gunzip", "Unpacks a gzip stream (of several members the first) or a zlib stream",
                  "vantrel gunzip notes.txt.gz -o notes.txt\n"
                  "vantrel gunzip notes.tar.gz -o - | tar x");
  const auto stream = unpacking.argument("FILE", kLimitedFileHelp, "-");
  const auto out = unpacking.requiredOption("-o,--output", "OUT", kOutHelp);
  const auto limit =
      unpacking.option("--limit", "BYTES", "the most that may be unpacked, all in memory (1073741824)");
  unpacking.run([=] { return gunzip(*stream, *out, *limit); });
}

}  // namespace

void registerCodecCommands(Command& program) {
  registerChecksums(program);
  registerCipher(program);
  registerGzip(program);
}

}  // namespace app
