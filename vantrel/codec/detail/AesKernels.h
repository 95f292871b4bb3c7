#pragma once

#include <cstddef>
#include <cstdint>

#include "vantrel/codec/detail/AesSteps.h"

/// AES-128 over many blocks, each on its own. Exists as plain functions and, chosen by simd/Target.h, with
/// the processor's AES instructions; both give the same results.
///
/// Each call expands the key of 16 bytes into `schedule` (176 bytes, the round keys of encryption in order)
/// and then treats `blocks` times 16 bytes, the last of which it leaves in `state` as well. `to` may be
/// `from` or stand before it; it must not reach into the input from behind `from`.
namespace vantrel::codec::detail {

void aesEncrypt(const std::uint8_t* key, std::uint8_t* schedule, AesState& state, const std::uint8_t* from,
                std::uint8_t* to, std::size_t blocks);
void aesEncryptPlain(const std::uint8_t* key, std::uint8_t* schedule, AesState& state,
                     const std::uint8_t* from, std::uint8_t* to, std::size_t blocks);

void aesDecrypt(const std::uint8_t* key, std::uint8_t* schedule, AesState& state, const std::uint8_t* from,
                std::uint8_t* to, std::size_t blocks);
void aesDecryptPlain(const std::uint8_t* key, std::uint8_t* schedule, AesState& state,
                     const std::uint8_t* from, std::uint8_t* to, std::size_t blocks);

/// Whether blocks that are written to `to` one after the other change what is yet to be read.
inline bool overtakes(const std::uint8_t* from, const std::uint8_t* to, std::size_t size) {
  const auto source = reinterpret_cast<std::uintptr_t>(from);
  const auto target = reinterpret_cast<std::uintptr_t>(to);
  return target > source && target - source < size;
}

}  // namespace vantrel::codec::detail
