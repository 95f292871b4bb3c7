// Any bytes unpack to what zlib makes of them piece by piece, or to nothing; never past the limit. Any bytes
// come back from their stream.
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <vector>

#include "vantrel/base/Log.h"
#include "vantrel/codec/KWGzip.h"

namespace {

using namespace vantrel;

constexpr std::size_t kLimit = std::size_t{32} << 10;

void demand(bool holds) {
  if (!holds) std::abort();
}

// Absent as soon as it passes the limit.
std::optional<Bytes> unpackedInPieces(const Bytes& data) {
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
  inflateEnd(&stream);
  if (result != Z_STREAM_END || contents.size() > kLimit) return std::nullopt;
  return Bytes(std::move(contents));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const ScopedLogSink quiet([](std::string_view) {});
  KWGzip::setUncompressedLimit(kLimit);
  const Bytes data = Bytes::copyOf({bytes, size});
  const auto contents = KWGzip::uncompressZippedData(data);
  demand(contents == (data.empty() ? data : unpackedInPieces(data)));

  const auto stream = KWGzip::gzipData(data);
  // What is short may not shrink enough.
  demand(stream.has_value() || size < 200);
  if (stream && size <= kLimit) demand(KWGzip::uncompressZippedData(stream) == data);
  return 0;
}
