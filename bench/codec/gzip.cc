// Gzip both ways beside zlib called directly with the same parameters. The peer knows the size of what it
// unpacks and allocates the result at once; everyone makes the result anew in each round.
#include <benchmark/benchmark.h>
#include <libdeflate.h>
#include <zlib.h>

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "vantrel/codec/KWGzip.h"

namespace {

using vantrel::Bytes;
using vantrel::KWGzip;

constexpr std::size_t kSize = std::size_t{1} << 20;

// Words in the frequencies of ordinary language: a few are everywhere, most are rare.
Bytes text() {
  std::mt19937 random(7);
  std::vector<std::string> words(4000);
  for (auto& word : words)
    for (std::size_t length = 2 + random() % 9; word.size() < length;)
      word += "etaoinshrdlucmfwypvbgkjqxz"[random() % (1 + random() % 26)];
  std::string written;
  while (written.size() < kSize) {
    const double place =
        std::pow(static_cast<double>(words.size()), static_cast<double>(random()) / 4294967296.0);
    written += words[static_cast<std::size_t>(place) - 1] + (random() % 12 == 0 ? ".\n" : " ");
  }
  written.resize(kSize);
  return Bytes::copyOf(written);
}

// Two channels of 16 bits: a chord with some noise.
Bytes pcm() {
  std::mt19937 random(7);
  std::vector<std::uint8_t> bytes(kSize);
  for (std::size_t i = 0; i < kSize / 2; ++i) {
    const double t = static_cast<double>(i / 2) / 44100;
    const double level = 6000 * std::sin(t * 2765) + 4000 * std::sin(t * 3483) + 2000 * std::sin(t * 4144);
    const auto sample = static_cast<std::uint16_t>(static_cast<int>(level) + static_cast<int>(random() % 64));
    bytes[2 * i] = static_cast<std::uint8_t>(sample);
    bytes[2 * i + 1] = static_cast<std::uint8_t>(sample >> 8);
  }
  return Bytes(std::move(bytes));
}

struct Result {
  std::unique_ptr<std::uint8_t[]> bytes;
  std::size_t size;
};

z_stream streamOver(const Bytes& data, Result& result) {
  z_stream stream{};
  stream.next_in = const_cast<Bytef*>(data.data());
  stream.avail_in = static_cast<uInt>(data.size());
  stream.next_out = result.bytes.get();
  stream.avail_out = static_cast<uInt>(result.size);
  return stream;
}

Result zlibGzip(const Bytes& data) {
  Result result{std::make_unique_for_overwrite<std::uint8_t[]>(kSize + kSize / 16), kSize + kSize / 16};
  z_stream stream = streamOver(data, result);
  deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, 31, 8, Z_DEFAULT_STRATEGY);
  if (deflate(&stream, Z_FINISH) != Z_STREAM_END) std::abort();
  deflateEnd(&stream);
  result.size = stream.total_out;
  return result;
}

Result zlibGunzip(const Bytes& data) {
  Result result{std::make_unique_for_overwrite<std::uint8_t[]>(kSize), kSize};
  z_stream stream = streamOver(data, result);
  inflateInit2(&stream, 47);
  if (inflate(&stream, Z_FINISH) != Z_STREAM_END) std::abort();
  inflateEnd(&stream);
  return result;
}

// For orientation: the decoder that ours calls, told the size.
Result libdeflateGunzip(const Bytes& data) {
  Result result{std::make_unique_for_overwrite<std::uint8_t[]>(kSize), kSize};
  libdeflate_decompressor* const decompressor = libdeflate_alloc_decompressor();
  if (libdeflate_gzip_decompress(decompressor, data.data(), data.size(), result.bytes.get(), kSize,
                                 nullptr) != LIBDEFLATE_SUCCESS)
    std::abort();
  libdeflate_free_decompressor(decompressor);
  return result;
}

template <typename Convert>
void convert(benchmark::State& state, const Bytes& from, Convert run) {
  for (auto _ : state) {
    auto result = run(from);
    benchmark::DoNotOptimize(result);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(kSize));
}

[[maybe_unused]] const bool kRegistered = [] {
  const auto add = [](const std::string& name, const Bytes& from, auto run) {
    const auto body = [from, run](benchmark::State& state) { convert(state, from, run); };
    benchmark::RegisterBenchmark(name.c_str(), body)->Arg(kSize);
  };
  const std::pair<const char*, Bytes> kinds[] = {{"Text", text()}, {"Pcm", pcm()}};
  for (const auto& [kind, data] : kinds) {
    const std::string gzip = std::string("BM_Gzip") + kind;
    add(gzip + "/vantrel", data, [](const Bytes& from) { return *KWGzip::gzipData(from); });
    add(gzip + "/zlib", data, zlibGzip);
    const Bytes packed = *KWGzip::gzipData(data);
    const std::string gunzip = std::string("BM_Gunzip") + kind;
    add(gunzip + "/vantrel", packed, [](const Bytes& from) { return *KWGzip::uncompressZippedData(from); });
    add(gunzip + "/zlib", packed, zlibGunzip);
    add(gunzip + "/libdeflate", packed, libdeflateGunzip);
  }
  return true;
}();

}  // namespace
