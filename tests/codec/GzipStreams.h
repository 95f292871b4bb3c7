#pragma once

#include <zlib.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <string_view>

#include "tests/support/RandomBytes.h"
#include "vantrel/base/Bytes.h"

/// Data to compress, and streams made with zlib itself.
namespace vantrel::tests {

/// zlib's numbers of the forms of a stream.
inline constexpr int kRawForm = -15;
inline constexpr int kZlibForm = 15;
inline constexpr int kGzipForm = 31;

inline constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;

inline Bytes zeros(std::size_t size) { return Bytes(std::vector<std::uint8_t>(size)); }
inline Bytes noise(std::size_t size) { return Bytes(randomBytes(size)); }

/// Words with line ends.
inline Bytes wordy(std::size_t size) {
  constexpr std::string_view kWords[] = {"stream ", "of ", "the ", "bytes ", "window ", "length\n", "and "};
  std::mt19937 random(2);
  std::string text;
  while (text.size() < size) text += kWords[random() % std::size(kWords)];
  return Bytes::copyOf(text.substr(0, size));
}

struct Deflate {
  int form = kGzipForm, level = -1, memoryLevel = 8, strategy = Z_DEFAULT_STRATEGY, flush = Z_FINISH;
};

inline Bytes deflated(const Bytes& data, const Deflate& how = {}) {
  z_stream stream{};
  if (deflateInit2(&stream, how.level, Z_DEFLATED, how.form, how.memoryLevel, how.strategy) != Z_OK)
    throw std::runtime_error("deflateInit2");
  std::vector<std::uint8_t> out(deflateBound(&stream, data.size()) + 64);
  stream.next_in = const_cast<Bytef*>(data.data());
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, how.flush);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != (how.flush == Z_FINISH ? Z_STREAM_END : Z_OK)) throw std::runtime_error("deflate");
  return Bytes(std::move(out));
}

/// The bytes one after the other.
inline Bytes joined(const Bytes& front, const Bytes& back) {
  std::vector<std::uint8_t> both(front.begin(), front.end());
  both.insert(both.end(), back.begin(), back.end());
  return Bytes(std::move(both));
}

/// A true gzip stream of so many MiB of zero bytes; its length is about a thousandth, and it is made in no
/// time.
inline Bytes bombOfMebibytes(std::uint64_t count) {
  // After a full flush nothing refers back, so one piece can stand any number of times.
  const Bytes piece = deflated(zeros(kMebibyte), {.form = kRawForm, .level = 9, .flush = Z_FULL_FLUSH});
  const auto pieceSum = crc32_z(0, zeros(kMebibyte).data(), kMebibyte);
  std::vector<std::uint8_t> bomb = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3};
  uLong sum = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    bomb.insert(bomb.end(), piece.begin(), piece.end());
    sum = crc32_combine(sum, pieceSum, static_cast<z_off_t>(kMebibyte));
  }
  bomb.insert(bomb.end(), {0x03, 0x00});  // a last block with nothing in it
  for (const std::uint64_t value : {std::uint64_t{sum}, count * kMebibyte})
    for (int shift = 0; shift < 32; shift += 8) bomb.push_back(static_cast<std::uint8_t>(value >> shift));
  return Bytes(std::move(bomb));
}

}  // namespace vantrel::tests
