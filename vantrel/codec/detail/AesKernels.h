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

}  // namespace vantrel::codec::detail
