#include "vantrel/codec/KWGzip.h"

#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <atomic>
#include <limits>
#include <new>

#include "vantrel/base/Log.h"
#include "vantrel/codec/detail/GzipRoom.h"
#include "vantrel/codec/detail/WholeInflate.h"

namespace vantrel {
namespace {

using codec::detail::Room;
using codec::detail::WholeInflate;

constinit std::atomic<std::uint64_t> limit{KWGzip::kDefaultUncompressedLimit};

constexpr char kGzipData[] = "+[KWGzip gzipData:]";

// The interface that is called; zlib refuses it when it has become another.
constexpr char kZlibInterface[] = "1.2.11";

constexpr int kGzip = 15 + 16;        // a window of 32 KiB and a gzip header
constexpr int kGzipOrZlib = 15 + 32;  // the same and either header
constexpr int kMemoryLevel = 8;

constexpr std::uint64_t kMostInput = std::numeric_limits<uInt>::max();

z_stream streamOf(const Bytes& data) {
  z_stream stream{};
  stream.next_in = data.data();
  stream.avail_in = static_cast<uInt>(data.size());
  return stream;
}

// What is free behind the output so far, as much of it as zlib can count.
void offer(Room& room, z_stream& stream) {
  stream.next_out = room.data() + stream.total_out;
  stream.avail_out = static_cast<uInt>(std::min(room.size() - stream.total_out, kMostInput));
}

const char* describeStart(int code) {
  switch (code) {
    case Z_VERSION_ERROR:
      return "The version of zlib.h and the version of the library linked do not match.";
    case Z_MEM_ERROR:
      return "Insufficient memory.";
    case Z_STREAM_ERROR:
      return "Invalid parameter passed in to function.";
    default:
      return "Unknown error code.";
  }
}

const char* describeEnd(int code) {
  switch (code) {
    case Z_VERSION_ERROR:
      return "The version of zlib.h and the version of the library linked do not match.";
    case Z_BUF_ERROR:
      return "Ran out of output buffer for writing compressed bytes.";
    case Z_MEM_ERROR:
      return "Memory could not be allocated for processing.";
    case Z_DATA_ERROR:
      return "The deflate data was invalid or incomplete.";
    case Z_STREAM_ERROR:
      return "The stream state was inconsistent (e.g., next_in or next_out was NULL).";
    case Z_ERRNO:
      return "Error occured while reading file.";
    default:
      return "Unknown error code.";
  }
}

const char* messageOf(const z_stream& stream) { return stream.msg == nullptr ? "(null)" : stream.msg; }

int deflateInto(Room& room, z_stream& stream) {
  const auto most = static_cast<std::uint64_t>(static_cast<double>(stream.avail_in) * 1.01 + 21);
  if (!room.enlarge(most, most)) return Z_MEM_ERROR;
  int result = Z_OK;
  while (result == Z_OK) {
    offer(room, stream);
    result = deflate(&stream, Z_FINISH);
  }
  return result;
}

// Stops with Z_BUF_ERROR when the output has filled `most` bytes and goes on.
int inflateInto(Room& room, z_stream& stream, std::uint64_t most) {
  const std::uint32_t size = stream.avail_in;
  const std::uint32_t step = size / 2;
  // The sum may wrap around, which only makes the first room smaller.
  if (!room.enlarge(size + step, most)) return Z_MEM_ERROR;
  int result = Z_OK;
  while (result == Z_OK) {
    if (stream.total_out == room.size() && !room.enlarge(step, most)) return Z_MEM_ERROR;
    if (stream.total_out == room.size()) return Z_BUF_ERROR;
    offer(room, stream);
    result = inflate(&stream, Z_SYNC_FLUSH);
  }
  return result;
}

std::optional<Bytes> inflateInPieces(const Bytes& data, std::uint64_t allowed, std::uint64_t most) {
  z_stream stream = streamOf(data);
  if (inflateInit2_(&stream, kGzipOrZlib, kZlibInterface, sizeof stream) != Z_OK) return std::nullopt;
  Room room;
  const int result = inflateInto(room, stream, most);
  const bool ended = inflateEnd(&stream) == Z_OK && result == Z_STREAM_END;
  return ended && stream.total_out <= allowed ? room.take(stream.total_out) : std::nullopt;
}

}  // namespace

std::optional<Bytes> KWGzip::gzipData(const std::optional<Bytes>& data) try {
  if (!data || data->empty()) {
    logFormat(LogLevel::Error, "%s: Error: Can't compress an empty or nil NSData object", kGzipData);
    return std::nullopt;
  }
  if (data->size() > kMostInput) {
    logFormat(LogLevel::Error, "%s: Error: Can't compress an NSData object of 2^32 bytes or more", kGzipData);
    return std::nullopt;
  }
  z_stream stream = streamOf(*data);
  const int started = deflateInit2_(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kMemoryLevel,
                                    Z_DEFAULT_STRATEGY, kZlibInterface, sizeof stream);
  if (started != Z_OK) {
    logFormat(LogLevel::Error, "%s:deflateInit2() Error: \"%s\" Message: \"%s\"", kGzipData,
              describeStart(started), messageOf(stream));
    return std::nullopt;
  }
  Room room;
  const int result = deflateInto(room, stream);
  deflateEnd(&stream);
  if (result != Z_STREAM_END) {
    logFormat(LogLevel::Error, "%s:zlib error while attempting compression: \"%s\" Message: \"%s\"",
              kGzipData, describeEnd(result), messageOf(stream));
  }
  return result == Z_STREAM_END ? room.take(stream.total_out) : std::nullopt;
} catch (const std::bad_alloc&) {
  return std::nullopt;  // there was no memory even to log what happened
}

std::optional<Bytes> KWGzip::uncompressZippedData(const std::optional<Bytes>& data) {
  if (!data || data->empty()) return data;
  if (data->size() > kMostInput) return std::nullopt;
  const std::uint64_t allowed = uncompressedLimit();
  // A byte more shows that there is more, while a stream of just as much as allowed can still end.
  const std::uint64_t most = std::max(allowed, allowed + 1);
  Room room;
  const auto whole = codec::detail::inflateWhole(data->span(), room, most);
  if (whole.end == WholeInflate::TooLarge) return std::nullopt;
  if (whole.end == WholeInflate::Done) return whole.size <= allowed ? room.take(whole.size) : std::nullopt;
  return inflateInPieces(*data, allowed, most);
}

std::uint64_t KWGzip::uncompressedLimit() { return limit.load(std::memory_order_relaxed); }

void KWGzip::setUncompressedLimit(std::uint64_t bytes) { limit.store(bytes, std::memory_order_relaxed); }

}  // namespace vantrel
