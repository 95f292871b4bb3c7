#pragma once

#include <chrono>
#include <optional>

#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends::gstreamer::detail {

struct FramesLength {
  std::chrono::nanoseconds length;

  /// Every frame was counted; otherwise the length is estimated.
  bool exact;
};

/// The length of a track that is nothing but a row of frames, without an index or a length of its own: MPEG
/// audio (ISO 11172-3, 13818-3) and AAC in ADTS (ISO 13818-7). Reads the frames' headers over an ID3v2 tag
/// and damaged stretches, for at most 32 MiB of the file; the rest counts as if it went on alike. None for
/// anything else.
std::optional<FramesLength> lengthOfFrames(const Source& source);

}  // namespace vantrel::backends::gstreamer::detail
