#include "vantrel/codec/GzipCoder.h"

#define ZLIB_CONST
#include <zlib.h>

#include <algorithm>
#include <array>
#include <limits>
#include <new>
#include <utility>

#include "vantrel/codec/detail/WholeInflate.h"

namespace vantrel {
namespace {

using codec::detail::WholeInflate;

constexpr int kGzip = 15 + 16;        // a window of 32 KiB and a gzip header
constexpr int kGzipOrZlib = 15 + 32;  // the same and either header
constexpr int kMemoryLevel = 8;

// zlib's decoder asks for its window only when it has stopped in the middle: here it has it by then. 32 KiB,
// and about 7 for its state.
class InflateMemory {
 public:
  static void* allocate(void* self, uInt count, uInt size) {
    auto& memory = *static_cast<InflateMemory*>(self);
    const std::size_t wanted = (std::size_t{count} * size + kAligned - 1) / kAligned * kAligned;
    if (wanted > memory.bytes_.size() - memory.used_) return nullptr;
    return memory.bytes_.data() + std::exchange(memory.used_, memory.used_ + wanted);
  }
  static void release(void*, void*) {}  // all of it goes with the coder

 private:
  static constexpr std::size_t kAligned = alignof(std::max_align_t);
  alignas(kAligned) std::array<std::uint8_t, std::size_t{48} << 10> bytes_;
  std::size_t used_ = 0;
};

void point(z_stream& stream, std::span<const std::uint8_t> from, std::span<std::uint8_t> to) {
  stream.next_in = from.data();
  stream.avail_in = static_cast<uInt>(from.size());
  stream.next_out = to.data();
  stream.avail_out = static_cast<uInt>(std::min<std::size_t>(to.size(), std::numeric_limits<uInt>::max()));
}

}  // namespace

struct GzipCoder::State {
  State() {
    if (!decompressor) throw std::bad_alloc();
    if (deflateInit2(&compressing, Z_DEFAULT_COMPRESSION, Z_DEFLATED, kGzip, kMemoryLevel,
                     Z_DEFAULT_STRATEGY) != Z_OK)
      throw std::bad_alloc();
    judging.zalloc = InflateMemory::allocate;
    judging.zfree = InflateMemory::release;
    judging.opaque = &memory;
    if (inflateInit2(&judging, kGzipOrZlib) != Z_OK) {
      deflateEnd(&compressing);
      throw std::bad_alloc();
    }
  }
  ~State() {
    inflateEnd(&judging);
    deflateEnd(&compressing);
  }
  State(const State&) = delete;

  codec::detail::WholeInflater decompressor = codec::detail::makeWholeInflater();
  z_stream compressing{};
  z_stream judging{};
  InflateMemory memory;
};

GzipCoder::GzipCoder() : state_(std::make_unique<State>()) {}
GzipCoder::~GzipCoder() = default;
GzipCoder::GzipCoder(GzipCoder&&) noexcept = default;
GzipCoder& GzipCoder::operator=(GzipCoder&&) noexcept = default;

std::optional<std::size_t> GzipCoder::compress(std::span<const std::uint8_t> data,
                                               std::span<std::uint8_t> stream) noexcept {
  if (data.empty() || data.size() > std::numeric_limits<uInt>::max()) return std::nullopt;
  z_stream& compressing = state_->compressing;
  deflateReset(&compressing);
  point(compressing, data, stream);
  if (deflate(&compressing, Z_FINISH) != Z_STREAM_END) return std::nullopt;
  return compressing.total_out;
}

std::optional<std::size_t> GzipCoder::uncompress(std::span<const std::uint8_t> stream,
                                                 std::span<std::uint8_t> data) noexcept {
  if (stream.empty()) return 0;
  if (stream.size() > std::numeric_limits<uInt>::max()) return std::nullopt;
  const auto whole = codec::detail::inflateWhole(state_->decompressor.get(), stream, data);
  if (whole.end == WholeInflate::Done) return whole.size;
  if (whole.end == WholeInflate::TooLarge) return std::nullopt;
  z_stream& judging = state_->judging;
  inflateReset(&judging);
  point(judging, stream, data);
  if (inflate(&judging, Z_FINISH) != Z_STREAM_END) return std::nullopt;
  return judging.total_out;
}

}  // namespace vantrel
