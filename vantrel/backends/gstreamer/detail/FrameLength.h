#pragma once

#include <chrono>
#include <optional>

#include "vantrel/backends/gstreamer/detail/Source.h"

namespace vantrel::backends::gstreamer::detail {

/// The exact length of a track that is nothing but a row of frames, without an index or a length of its own:
/// MPEG audio (ISO 11172-3, 13818-3) and AAC in ADTS (ISO 13818-7). Reads the frames' headers from one end to
/// the other, over an ID3v2 tag and damaged stretches. None for anything else.
std::optional<std::chrono::nanoseconds> lengthOfFrames(const Source& source);

}  // namespace vantrel::backends::gstreamer::detail
