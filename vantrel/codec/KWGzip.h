#pragma once

#include <cstdint>
#include <optional>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"

namespace vantrel {

/// Compression to gzip streams (RFC 1952), and back from gzip and zlib streams (RFC 1950). Absent is the
/// result of every failure, also where memory runs out.
///
/// Threads: any.
class VANTREL_EXPORT KWGzip {
 public:
  KWGzip() = delete;

  /// What `uncompressedLimit` is until it is set: 1 GiB.
  static constexpr std::uint64_t kDefaultUncompressedLimit = std::uint64_t{1} << 30;

  /// The data as one gzip member with zlib's default level, without a file name or time.
  ///
  /// Absent, with one line in the log that tells why, for absent and empty data, for 2^32 bytes or more, when
  /// the stream would be longer than 1.01 times the data and 21 bytes (less than 200 bytes that do not shrink
  /// become up to 23 bytes longer), and when memory ran out.
  static std::optional<Bytes> gzipData(const std::optional<Bytes>& data);

  /// The contents of a gzip or zlib stream, which of them its first bytes tell. Only the first gzip member
  /// counts; what follows it is ignored. Absent and empty data come back as they are; a stream of nothing
  /// gives empty.
  ///
  /// Absent, without a line in the log, for a stream that is cut off, damaged, has a wrong checksum or needs
  /// a preset dictionary, for raw deflate data, for 2^32 bytes or more, for contents of more than
  /// `uncompressedLimit`, and when memory ran out. Room for the contents is what a gzip stream says of its
  /// size, where that can be true, or four times the data, and four times as much whenever that was too
  /// little, to one byte past the limit at most; memory beyond the contents is set aside untouched and given
  /// back. Where so much cannot be had, less is tried. A stream that uses codes that the format sets aside,
  /// which no compressor writes, gives contents when their checksum holds.
  static std::optional<Bytes> uncompressZippedData(const std::optional<Bytes>& data);

  /// The most bytes that the contents of a stream may have; for the whole process. A few kilobytes can unpack
  /// to a thousand times as much, so a program that takes streams from strangers sets what it expects. A call
  /// that is running keeps the limit that it began with.
  static std::uint64_t uncompressedLimit();
  static void setUncompressedLimit(std::uint64_t bytes);
};

}  // namespace vantrel
