#include "vantrel/backends/gstreamer/detail/FrameLength.h"

#include <array>
#include <cstdint>
#include <vector>

#include "vantrel/loop/Clock.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

constexpr std::size_t kHeader = 7;
constexpr std::size_t kMostGarbage = std::size_t{64} << 10;
constexpr std::uint64_t kMostCounted = std::uint64_t{32} << 20;
constexpr int kFewestFrames = 3;

struct Frame {
  std::size_t bytes;
  double seconds;
};

std::optional<Frame> adtsFrame(const std::uint8_t* header) {
  constexpr std::array<int, 13> kRates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                       22050, 16000, 12000, 11025, 8000,  7350};
  const std::size_t rate = (header[2] >> 2) & 15;
  const std::size_t bytes = (header[3] & 3U) << 11 | header[4] << 3 | header[5] >> 5;
  if (rate >= kRates.size() || bytes < kHeader) return std::nullopt;
  const int blocks = (header[6] & 3) + 1;
  return Frame{bytes, 1024.0 * blocks / kRates[rate]};
}

std::optional<Frame> mpegFrame(const std::uint8_t* header) {
  // Kilobits a second by index: version 1 in layers 1, 2, 3, then later versions in layer 1 and in 2 and 3.
  constexpr int kKilobits[5][15] = {
      {0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448},
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384},
      {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320},
      {0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256},
      {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},
  };
  constexpr std::array<int, 3> kRates{44100, 48000, 32000};
  const int version = (header[1] >> 3) & 3;  // 3: version 1, 2: version 2, 0: version 2.5
  const int layer = 4 - ((header[1] >> 1) & 3);
  const std::size_t bitrate = header[2] >> 4;
  const std::size_t rateIndex = (header[2] >> 2) & 3;
  const int padding = (header[2] >> 1) & 1;
  if (version == 1 || layer == 4 || bitrate == 0 || bitrate == 15 || rateIndex >= kRates.size())
    return std::nullopt;
  const bool first = version == 3;
  const int rate = kRates[rateIndex] >> (first ? 0 : version == 2 ? 1 : 2);
  const int bits = 1000 * kKilobits[first ? layer - 1 : layer == 1 ? 3 : 4][bitrate];
  const int samples = layer == 1 ? 384 : layer == 3 && !first ? 576 : 1152;
  const int slot = layer == 1 ? 4 : 1;
  const int slots = samples / 8 / slot * bits / rate + padding;
  return Frame{static_cast<std::size_t>(slots * slot), static_cast<double>(samples) / rate};
}

std::optional<Frame> frameOf(const std::uint8_t* header) {
  if (header[0] != 0xFF || (header[1] & 0xE0) != 0xE0) return std::nullopt;
  if ((header[1] & 0xF6) == 0xF0) return adtsFrame(header);
  return mpegFrame(header);
}

/// A stretch of the file that moves on with what is asked for.
class Window {
 public:
  explicit Window(const Source& source) : source_(source) {}

  /// `count` bytes from `offset` on; null when the file ends before.
  const std::uint8_t* at(std::uint64_t offset, std::size_t count) {
    if (offset < start_ || offset + count > start_ + length_) {
      start_ = offset;
      length_ = source_.read(offset, bytes_).value_or(0);
    }
    return offset + count <= start_ + length_ ? bytes_.data() + (offset - start_) : nullptr;
  }

 private:
  const Source& source_;
  std::vector<std::uint8_t> bytes_ = std::vector<std::uint8_t>(std::size_t{64} << 10);
  std::uint64_t start_ = 0;
  std::size_t length_ = 0;
};

std::uint64_t endOfTag(Window& window) {
  const std::uint8_t* tag = window.at(0, 10);
  if (!tag || tag[0] != 'I' || tag[1] != 'D' || tag[2] != '3') return 0;
  return 10 + ((tag[6] & 127U) << 21 | (tag[7] & 127U) << 14 | (tag[8] & 127U) << 7 | (tag[9] & 127U));
}

}  // namespace

std::optional<FramesLength> lengthOfFrames(const Source& source) {
  Window window(source);
  const std::uint64_t start = endOfTag(window);
  std::uint64_t offset = start;
  double seconds = 0;
  int frames = 0;
  std::size_t garbage = 0;
  while (garbage < kMostGarbage && offset - start < kMostCounted) {
    const std::uint8_t* header = window.at(offset, kHeader);
    if (!header) break;
    const auto frame = frameOf(header);
    if (!frame || frame->bytes < kHeader) {
      ++garbage;
      ++offset;
      continue;
    }
    if (offset + frame->bytes > source.size()) break;
    garbage = 0;
    ++frames;
    seconds += frame->seconds;
    offset += frame->bytes;
  }
  if (frames < kFewestFrames) return std::nullopt;
  const bool exact = offset - start < kMostCounted;
  if (!exact) seconds *= static_cast<double>(source.size() - start) / static_cast<double>(offset - start);
  return FramesLength{durationOfSeconds(seconds), exact};
}

}  // namespace vantrel::backends::gstreamer::detail
