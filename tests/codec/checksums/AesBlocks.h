#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "vantrel/codec/AESx.h"

/// AES-128 block by block, against which whole buffers are held.
namespace vantrel::tests {

using AesBlock = std::array<std::uint8_t, 16>;

enum class Way { Encrypt, Decrypt };

inline void treatBlock(Way way, const std::uint8_t* from, std::uint8_t* to) {
  AESx& aes = AESx::shared();
  way == Way::Encrypt ? aes.Dcs_AESEnCodeIn_Out(from, to) : aes.Dcs_AESDeCodeIn_Out(from, to);
}

inline std::vector<std::uint8_t> blockByBlock(Way way, const AesBlock& key,
                                              std::span<const std::uint8_t> blocks) {
  AESx::shared().Dcs_SetKey(key.data());
  std::vector<std::uint8_t> result(blocks.size());
  for (std::size_t at = 0; at < blocks.size(); at += 16) treatBlock(way, &blocks[at], &result[at]);
  return result;
}

}  // namespace vantrel::tests
