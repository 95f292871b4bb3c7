#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "vantrel/codec/detail/GzipRoom.h"

struct libdeflate_decompressor;

namespace vantrel::codec::detail {

/// What the decoder for whole streams works with; null without memory.
struct FreeInflater {
  void operator()(libdeflate_decompressor* inflater) const;
};
using WholeInflater = std::unique_ptr<libdeflate_decompressor, FreeInflater>;
WholeInflater makeWholeInflater();

struct WholeInflate {
  /// What is `Undecided` another decoder has to judge: it is damaged, of a form that is not taken here, or
  /// memory ran out.
  enum End { Done, TooLarge, Undecided };
  End end;
  std::uint64_t size = 0;
};

/// The contents of a gzip or zlib stream in one go: two to three times as fast as in pieces, but only where
/// all of it fits.
WholeInflate inflateWhole(libdeflate_decompressor* inflater, std::span<const std::uint8_t> stream,
                          std::span<std::uint8_t> contents);

/// The same into `room`, which is empty. `TooLarge` where `most` bytes are too few.
WholeInflate inflateWhole(std::span<const std::uint8_t> stream, Room& room, std::uint64_t most);

}  // namespace vantrel::codec::detail
