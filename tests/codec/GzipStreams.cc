#include "tests/codec/GzipStreams.h"

#include <zlib.h>

#include <algorithm>
#include <stdexcept>

namespace vantrel::tests {
namespace {

constexpr std::size_t kMebibyte = std::size_t{1} << 20;

void append(std::vector<std::uint8_t>& to, const Bytes& more) {
  to.insert(to.end(), more.begin(), more.end());
}

void appendInteger(std::vector<std::uint8_t>& to, std::uint32_t value) {
  for (int shift = 0; shift < 32; shift += 8) to.push_back(static_cast<std::uint8_t>(value >> shift));
}

Bytes compressed(const Bytes& data, int form, int level, int memoryLevel, int strategy, int flush) {
  z_stream stream{};
  if (deflateInit2(&stream, level, Z_DEFLATED, form, memoryLevel, strategy) != Z_OK)
    throw std::runtime_error("deflateInit2");
  std::vector<std::uint8_t> out(deflateBound(&stream, data.size()) + 64);
  stream.next_in = const_cast<Bytef*>(data.data());
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = out.data();
  stream.avail_out = static_cast<uInt>(out.size());
  const int result = deflate(&stream, flush);
  out.resize(stream.total_out);
  deflateEnd(&stream);
  if (result != (flush == Z_FINISH ? Z_STREAM_END : Z_OK)) throw std::runtime_error("deflate");
  return Bytes(std::move(out));
}

}  // namespace

Bytes zeros(std::size_t size) { return Bytes(std::vector<std::uint8_t>(size)); }

Bytes randomBytes(std::size_t size, std::uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<std::uint8_t> bytes(size);
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  return Bytes(std::move(bytes));
}

Bytes wordy(std::size_t size) {
  constexpr std::string_view kWords[] = {"stream", "of", "the", "bytes", "window", "length\n", "and", "a"};
  std::mt19937 random(2);
  std::vector<std::uint8_t> text;
  while (text.size() < size) {
    const auto word = kWords[random() % std::size(kWords)];
    text.insert(text.end(), word.begin(), word.end());
    text.push_back(' ');
  }
  text.resize(size);
  return Bytes(std::move(text));
}

Bytes deflated(const Bytes& data, int form, int level, int memoryLevel, int strategy) {
  return compressed(data, form, level, memoryLevel, strategy, Z_FINISH);
}

Bytes joined(const Bytes& front, const Bytes& back) {
  std::vector<std::uint8_t> both(front.begin(), front.end());
  append(both, back);
  return Bytes(std::move(both));
}

Bytes bombOfMebibytes(std::uint64_t count) {
  // After a full flush nothing refers back, so one piece can stand any number of times.
  const Bytes piece = compressed(zeros(kMebibyte), kRawForm, 9, 8, 0, Z_FULL_FLUSH);
  const auto pieceSum = crc32_z(0, zeros(kMebibyte).data(), kMebibyte);
  std::vector<std::uint8_t> bomb = {0x1F, 0x8B, 8, 0, 0, 0, 0, 0, 0, 3};
  uLong sum = 0;
  for (std::uint64_t i = 0; i < count; ++i) {
    append(bomb, piece);
    sum = crc32_combine(sum, pieceSum, static_cast<z_off_t>(kMebibyte));
  }
  append(bomb, Bytes({0x03, 0x00}));  // a last block with nothing in it
  appendInteger(bomb, static_cast<std::uint32_t>(sum));
  appendInteger(bomb, static_cast<std::uint32_t>(count * kMebibyte));
  return Bytes(std::move(bomb));
}

}  // namespace vantrel::tests
