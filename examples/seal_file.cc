// Compresses a file, encrypts it and prints the checksum of what it wrote.
//   seal_file 000102030405060708090a0b0c0d0e0f notes.txt notes.sealed
#include <cstring>
#include <iomanip>
#include <iostream>

#include "vantrel/base/io/AtomicFile.h"
#include "vantrel/base/io/Files.h"
#include "vantrel/codec/Aes128.h"
#include "vantrel/codec/Crc.h"
#include "vantrel/codec/KWGzip.h"
#include "vantrel/codec/KWTools.h"

using namespace vantrel;

int failed(const std::string& why) { return std::cerr << "seal_file: " << why << '\n', 1; }

int main(int count, char** arguments) {
  if (count != 4) return failed("usage: seal_file KEY FILE OUT");
  const Bytes key = KWTools::HexToData(arguments[1]);
  const bool isKey = std::strspn(arguments[1], "0123456789abcdefABCDEF") == 32 && key.size() == 16;
  if (!isKey) return failed("the key is 32 hexadecimal digits");

  const Result<Bytes> contents = files::read(arguments[2]);
  if (!contents) return failed(contents.error().description());
  const auto packed = KWGzip::gzipData(*contents);
  if (!packed) return failed("nothing to compress");

  std::vector<std::uint8_t> sealed(packed->begin(), packed->end());
  // The cipher takes whole blocks; gzip ignores what follows its stream.
  sealed.resize((sealed.size() + 15) / 16 * 16);
  if (!aes128::encrypt(key.span().first<16>(), sealed, sealed)) return failed("no whole blocks");

  const Result<void> written = AtomicFile::replace(arguments[3], sealed);
  if (!written) return failed(written.error().description());
  std::cout << std::hex << std::setfill('0') << std::setw(8) << crc32(sealed) << '\n';
}
