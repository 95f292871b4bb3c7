#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "vantrel/base/Export.h"

/// AES-128 (FIPS 197) over whole blocks of 16 bytes, each on its own, without chaining and without padding
/// (the mode called ECB): for protocols that ask for it, or as the block cipher within a mode of the
/// caller's. Equal blocks encrypt to equal blocks, and nothing tells an altered message.
///
///   std::array<std::uint8_t, 32> message{};
///   assert(aes128::encrypt(key, message, message));
///
/// The processor's AES instructions are used where it has them; where it lacks them, look-ups in tables take
/// their place, whose duration depends on the data. Nothing is allocated. Threads: any; no state is kept.
namespace vantrel::aes128 {

inline constexpr std::size_t kBlock = 16;
using Key = std::span<const std::uint8_t, 16>;

/// Encrypts `from` into the front of `to`, which may be the same bytes or overlap them in any way. False,
/// with nothing written, when the length of `from` is no multiple of 16 or `to` is shorter. No bytes are no
/// failure.
[[nodiscard]] VANTREL_EXPORT bool encrypt(Key key, std::span<const std::uint8_t> from,
                                          std::span<std::uint8_t> to) noexcept;

/// The same backwards.
[[nodiscard]] VANTREL_EXPORT bool decrypt(Key key, std::span<const std::uint8_t> from,
                                          std::span<std::uint8_t> to) noexcept;

}  // namespace vantrel::aes128
