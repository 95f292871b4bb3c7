// Any bytes unpack to what zlib makes of them piece by piece, or to nothing; never past the limit. Any bytes
// come back from their stream. The same bytes are also taken for deflate data and given the checksum that
// fits them, which chance would not find: then the two decoders differ only about codes that the format sets
// aside.
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "vantrel/base/Log.h"
#include "vantrel/codec/GzipCoder.h"
#include "vantrel/codec/KWGzip.h"

namespace {

using namespace vantrel;

constexpr std::size_t kLimit = std::size_t{32} << 10;

void demand(bool holds) {
  if (!holds) std::abort();
}

struct Unpacked {
  std::optional<Bytes> contents;  // absent as soon as it passes the limit
  std::string_view message;
};

Unpacked unpackedInPieces(const Bytes& data) {
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(data.data());
  demand(inflateInit2(&stream, 47) == Z_OK);
  std::vector<std::uint8_t> contents;
  std::array<std::uint8_t, 300> piece;
  int result = Z_OK;
  while (result == Z_OK && contents.size() <= kLimit) {
    const std::size_t rest = data.size() - stream.total_in;
    stream.avail_in = static_cast<uInt>(std::min<std::size_t>(rest, 100));
    stream.next_out = piece.data();
    stream.avail_out = piece.size();
    result = inflate(&stream, Z_NO_FLUSH);
    contents.insert(contents.end(), piece.data(), stream.next_out);
  }
  const std::string_view message = stream.msg == nullptr ? "" : stream.msg;
  inflateEnd(&stream);
  if (result != Z_STREAM_END || contents.size() > kLimit) return {std::nullopt, message};
  return {Bytes(std::move(contents)), message};
}

bool isAboutReservedCodes(std::string_view message) {
  for (const std::string_view known :
       {"invalid literal/length code", "invalid distance code", "invalid code lengths set",
        "too many length or distance symbols", "invalid bit length repeat"})
    if (message == known) return true;
  return false;
}

// The bytes as deflate data in a gzip stream with the right trailer; absent when they are none.
std::optional<Bytes> madeSound(std::span<const std::uint8_t> deflate) {
  const std::unique_ptr<libdeflate_decompressor, decltype(&libdeflate_free_decompressor)> decompressor(
      libdeflate_alloc_decompressor(), libdeflate_free_decompressor);
  std::vector<std::uint8_t> contents(kLimit + 1);
  std::size_t length = 0;
  if (libdeflate_deflate_decompress(decompressor.get(), deflate.data(), deflate.size(), contents.data(),
                                    contents.size(), &length) != LIBDEFLATE_SUCCESS)
    return std::nullopt;
  std::vector<std::uint8_t> stream{0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3};
  stream.insert(stream.end(), deflate.begin(), deflate.end());
  for (const std::uint64_t number :
       {std::uint64_t{libdeflate_crc32(0, contents.data(), length)}, std::uint64_t{length}})
    for (int shift = 0; shift < 32; shift += 8) stream.push_back(static_cast<std::uint8_t>(number >> shift));
  return Bytes(std::move(stream));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const ScopedLogSink quiet([](std::string_view) {});
  KWGzip::setUncompressedLimit(kLimit);
  const Bytes data = Bytes::copyOf({bytes, size});
  const auto contents = KWGzip::uncompressZippedData(data);
  demand(contents == (data.empty() ? data : unpackedInPieces(data).contents));
  static GzipCoder coder;
  static std::array<std::uint8_t, kLimit> room;
  const auto length = coder.uncompress(data.span(), room);
  demand(length.has_value() == contents.has_value());
  demand(!length || std::ranges::equal(std::span(room).first(*length), contents->span()));

  if (const auto sound = madeSound(data)) {
    const auto judged = unpackedInPieces(*sound);
    const auto ours = KWGzip::uncompressZippedData(sound);
    demand(judged.contents ? ours == judged.contents : !ours || isAboutReservedCodes(judged.message));
  }

  const auto stream = KWGzip::gzipData(data);
  // What is short may not shrink enough.
  demand(stream.has_value() || size < 200);
  if (stream && size <= kLimit) demand(KWGzip::uncompressZippedData(stream) == data);
  return 0;
}
