#include "vantrel/backends/gstreamer/detail/FrameLength.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "vantrel/backends/gstreamer/detail/Gst.h"

namespace vantrel::backends::gstreamer::detail {
namespace {

constexpr std::size_t kHeader = 7;
constexpr std::size_t kMostGarbage = std::size_t{64} << 10;
constexpr int kFewestFrames = 3;

using Header = std::array<std::uint8_t, kHeader>;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

struct Frame {
  std::size_t bytes;
  double seconds;
};

File openSource(const Source& source) {
  // The stream is only read; fmemopen has no form for constant memory.
  if (source.contents)
    return File(
        ::fmemopen(const_cast<std::uint8_t*>(source.contents->data()), source.contents->size(), "rb"));
  const Owned<gchar> path(g_filename_from_uri(source.uri.c_str(), nullptr, nullptr));
  return File(path ? std::fopen(path.get(), "rbe") : nullptr);
}

std::optional<Frame> adtsFrame(const Header& header) {
  constexpr std::array<int, 13> kRates{96000, 88200, 64000, 48000, 44100, 32000, 24000,
                                       22050, 16000, 12000, 11025, 8000,  7350};
  const std::size_t rate = (header[2] >> 2) & 15;
  const std::size_t bytes = (header[3] & 3U) << 11 | header[4] << 3 | header[5] >> 5;
  if (rate >= kRates.size() || bytes < kHeader) return std::nullopt;
  const int blocks = (header[6] & 3) + 1;
  return Frame{bytes, 1024.0 * blocks / kRates[rate]};
}

std::optional<Frame> mpegFrame(const Header& header) {
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

std::optional<Frame> frameOf(const Header& header) {
  if (header[0] != 0xFF || (header[1] & 0xE0) != 0xE0) return std::nullopt;
  if ((header[1] & 0xF6) == 0xF0) return adtsFrame(header);
  return mpegFrame(header);
}

void skipTag(std::FILE* file) {
  std::array<std::uint8_t, 10> tag{};
  if (std::fread(tag.data(), 1, tag.size(), file) == tag.size() && tag[0] == 'I' && tag[1] == 'D' &&
      tag[2] == '3') {
    const long size = (tag[6] & 127L) << 21 | (tag[7] & 127L) << 14 | (tag[8] & 127L) << 7 | (tag[9] & 127L);
    std::fseek(file, size + 10, SEEK_SET);
  } else {
    std::rewind(file);
  }
}

/// Reads over `count` bytes; false at the end of the file.
bool readOver(std::FILE* file, std::size_t count) {
  std::array<std::uint8_t, 8192> scratch;
  return count <= scratch.size() && std::fread(scratch.data(), 1, count, file) == count;
}

/// Moves a header window on by one byte; false at the end of the file.
bool shift(Header& header, std::FILE* file) {
  const int next = std::fgetc(file);
  if (next == EOF) return false;
  std::copy(header.begin() + 1, header.end(), header.begin());
  header.back() = static_cast<std::uint8_t>(next);
  return true;
}

}  // namespace

std::optional<std::chrono::nanoseconds> lengthOfFrames(const Source& source) {
  const File file = openSource(source);
  if (!file) return std::nullopt;
  skipTag(file.get());
  double seconds = 0;
  int frames = 0;
  std::size_t garbage = 0;
  Header header{};
  bool more = std::fread(header.data(), 1, kHeader, file.get()) == kHeader;
  while (more && garbage < kMostGarbage) {
    const auto frame = frameOf(header);
    if (!frame || frame->bytes < kHeader) {
      ++garbage;
      more = shift(header, file.get());
      continue;
    }
    garbage = 0;
    if (!readOver(file.get(), frame->bytes - kHeader)) break;
    ++frames;
    seconds += frame->seconds;
    more = std::fread(header.data(), 1, kHeader, file.get()) == kHeader;
  }
  if (frames < kFewestFrames) return std::nullopt;
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::duration<double>(seconds));
}

}  // namespace vantrel::backends::gstreamer::detail
