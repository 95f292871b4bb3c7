// The checksums beside what a user would pick instead. CRC-32 is measured through the operation that gives a
// STUN fingerprint, which is the common CRC-32 and one XOR.
#include <benchmark/benchmark.h>
#include <isa-l/crc.h>
#include <libdeflate.h>
#include <zlib.h>

#include <boost/crc.hpp>
#include <optional>
#include <random>
#include <vector>

#include "vantrel/base/simd/Target.h"
#include "vantrel/codec/AESx.h"
#include "vantrel/codec/kw_crc16.h"

namespace {

namespace simd = vantrel::simd;

template <typename Checksum>
void measure(benchmark::State& state, Checksum checksum) {
  std::mt19937 random(7);
  std::vector<std::uint8_t> bytes(static_cast<std::size_t>(state.range(0)));
  for (auto& byte : bytes) byte = static_cast<std::uint8_t>(random());
  for (auto _ : state) {
    benchmark::DoNotOptimize(bytes.data());
    benchmark::DoNotOptimize(checksum(bytes.data(), bytes.size()));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

std::uint16_t ours16(const std::uint8_t* bytes, std::size_t size) {
  return kw_count_crc_deal(bytes, static_cast<std::uint16_t>(size));
}

std::uint16_t boost16(const std::uint8_t* bytes, std::size_t size) {
  boost::crc_optimal<16, 0x1021, 0, 0, false, false> crc;
  crc.process_bytes(bytes, size);
  return crc.checksum();
}

std::uint32_t ours32(const std::uint8_t* bytes, std::size_t size) {
  return vantrel::AESx::shared().ns_crc32Buffer_Lenght(bytes, static_cast<std::uint32_t>(size));
}

std::uint32_t isal32(const std::uint8_t* bytes, std::size_t size) { return crc32_gzip_refl(0, bytes, size); }

std::uint32_t libdeflate32(const std::uint8_t* bytes, std::size_t size) {
  return libdeflate_crc32(0, bytes, size);
}

std::uint32_t zlib32(const std::uint8_t* bytes, std::size_t size) {
  return static_cast<std::uint32_t>(crc32_z(0, bytes, size));
}

[[maybe_unused]] const bool kRegistered = [] {
  const auto add = [](const char* name, auto checksum, std::initializer_list<int> sizes,
                      std::optional<simd::Target> target = {}) {
    auto* made = benchmark::RegisterBenchmark(name, [=](auto& state) {
      const simd::ScopedTargetLimit limit(target.value_or(simd::current()));
      measure(state, checksum);
    });
    for (int size : sizes) made->Arg(size);
  };
  const auto sizes16 = {64, 4096, 65535};
  add("BM_Crc16/vantrel", ours16, sizes16);
  add("BM_Crc16/boost", boost16, sizes16);
  add("BM_Crc16/128bit", ours16, {4096, 65535}, simd::Target::Avx2);
  add("BM_Crc16/plain", ours16, {4096, 65535}, simd::Target::Plain);
  const auto sizes32 = {64, 4096, 1 << 20};
  add("BM_Crc32/vantrel", ours32, sizes32);
  add("BM_Crc32/isal", isal32, sizes32);
  add("BM_Crc32/libdeflate", libdeflate32, sizes32);
  add("BM_Crc32/zlib", zlib32, sizes32);
  add("BM_Crc32/128bit", ours32, {4096, 1 << 20}, simd::Target::Avx2);
  add("BM_Crc32/plain", ours32, {4096, 1 << 20}, simd::Target::Plain);
  return true;
}();

}  // namespace
