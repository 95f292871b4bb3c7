#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>

#include "vantrel/base/Export.h"

namespace vantrel {

/// Gzip into memory of the caller's. What `KWGzip` sets up in each call is made once, with the coder (about
/// 350 KiB, mostly of the compressor); its calls allocate nothing.
///
///   GzipCoder coder;
///   std::array<std::uint8_t, 4096> stream;
///   const Bytes message = Bytes::copyOf("said and said and said and said again");
///   if (const auto size = coder.compress(message.span(), stream))
///     std::cout << message.size() << " bytes in " << *size << '\n';
///
/// Threads: one call at a time on each coder.
class VANTREL_EXPORT GzipCoder {
 public:
  /// Throws `std::bad_alloc` when memory runs out; nothing else here throws.
  GzipCoder();
  ~GzipCoder();
  GzipCoder(GzipCoder&&) noexcept;
  GzipCoder& operator=(GzipCoder&&) noexcept;

  /// Writes the stream that `KWGzip::gzipData` makes to the front of `stream` and says its length. Absent for
  /// no data, for 2^32 bytes or more, and when `stream` is too short: then its contents are undefined.
  /// Data and stream must not overlap.
  [[nodiscard]] std::optional<std::size_t> compress(std::span<const std::uint8_t> data,
                                                    std::span<std::uint8_t> stream) noexcept;

  /// Writes what `KWGzip::uncompressZippedData` makes of the stream to the front of `data` and says its
  /// length; no stream gives none. Absent for what that refuses, and when `data`, which is the only limit, is
  /// too short: then its contents are undefined. Data and stream must not overlap.
  [[nodiscard]] std::optional<std::size_t> uncompress(std::span<const std::uint8_t> stream,
                                                      std::span<std::uint8_t> data) noexcept;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace vantrel
