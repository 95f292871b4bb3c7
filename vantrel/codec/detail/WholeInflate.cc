#include "vantrel/codec/detail/WholeInflate.h"

#include <libdeflate.h>

#include <algorithm>

namespace vantrel::codec::detail {
namespace {

using Stream = std::span<const std::uint8_t>;

// What deflate can make of a byte.
constexpr std::uint64_t kMostRatio = 1032;

// A stream whose size nobody knows is tried with four times the room each time: what was in vain is a third
// of the whole at most.
constexpr std::uint64_t kGrowth = 4;

constexpr std::size_t kGzipTrailer = 8;
constexpr std::size_t kFlags = 3;
constexpr std::uint8_t kHeaderChecksum = 2;

bool isGzip(Stream stream) {
  return stream.size() > kFlags + kGzipTrailer && stream[0] == 0x1F && stream[1] == 0x8B;
}

// A gzip stream says at its end how much it holds. What follows the first member, or a lie, makes the number
// wrong: it is believed only where it could be true, and memory is not touched before it is written.
std::uint64_t likelySize(Stream stream) {
  const std::uint64_t guess = kGrowth * stream.size();
  if (!isGzip(stream)) return guess;
  std::uint64_t size = 0;
  for (std::size_t i = 1; i <= sizeof(std::uint32_t); ++i) size = size << 8 | stream[stream.size() - i];
  return size <= kMostRatio * stream.size() ? std::max<std::uint64_t>(size, 1) : guess;
}

}  // namespace

void FreeInflater::operator()(libdeflate_decompressor* inflater) const {
  libdeflate_free_decompressor(inflater);
}

WholeInflater makeWholeInflater() { return WholeInflater(libdeflate_alloc_decompressor()); }

WholeInflate inflateWhole(libdeflate_decompressor* inflater, Stream stream,
                          std::span<std::uint8_t> contents) {
  const bool gzip = isGzip(stream);
  // libdeflate does not look at the checksum of a header.
  if (gzip && (stream[kFlags] & kHeaderChecksum) != 0) return {WholeInflate::Undecided};
  const auto decompress = gzip ? libdeflate_gzip_decompress : libdeflate_zlib_decompress;
  std::size_t size = 0;
  switch (decompress(inflater, stream.data(), stream.size(), contents.data(), contents.size(), &size)) {
    case LIBDEFLATE_SUCCESS:
      return {WholeInflate::Done, size};
    case LIBDEFLATE_INSUFFICIENT_SPACE:
      return {WholeInflate::TooLarge};
    default:
      return {WholeInflate::Undecided};
  }
}

WholeInflate inflateWhole(Stream stream, Room& room, std::uint64_t most) {
  const WholeInflater inflater = makeWholeInflater();
  if (!inflater) return {WholeInflate::Undecided};
  for (std::uint64_t size = likelySize(stream);;
       size = kGrowth * std::max<std::uint64_t>(size, stream.size())) {
    room = Room();
    if (!room.enlarge(size, most)) return {WholeInflate::Undecided};
    const auto result = inflateWhole(inflater.get(), stream, {room.data(), room.size()});
    if (result.end != WholeInflate::TooLarge || room.size() == most) return result;
  }
}

}  // namespace vantrel::codec::detail
