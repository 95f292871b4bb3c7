#include "vantrel/codec/Aes128.h"

#include <cstring>

#include "vantrel/codec/detail/AesKernels.h"

namespace vantrel::aes128 {
namespace {

using namespace codec::detail;

using Cipher = void (*)(const std::uint8_t* key, std::uint8_t* schedule, AesState& state,
                        const std::uint8_t* from, std::uint8_t* to, std::size_t blocks);

bool eachBlock(Cipher cipher, Key key, std::span<const std::uint8_t> from, std::span<std::uint8_t> to) {
  if (from.size() % kBlock != 0 || to.size() < from.size()) return false;
  std::uint8_t schedule[kAesSchedule];
  AesState state;
  if (!overtakes(from.data(), to.data(), from.size())) {
    cipher(key.data(), schedule, state, from.data(), to.data(), from.size() / kBlock);
    return true;
  }
  for (std::size_t at = from.size(); at > 0;) {
    at -= kBlock;
    std::uint8_t block[kBlock];
    cipher(key.data(), schedule, state, from.data() + at, block, 1);
    std::memcpy(to.data() + at, block, kBlock);
  }
  return true;
}

}  // namespace

bool encrypt(Key key, std::span<const std::uint8_t> from, std::span<std::uint8_t> to) noexcept {
  return eachBlock(aesEncrypt, key, from, to);
}

bool decrypt(Key key, std::span<const std::uint8_t> from, std::span<std::uint8_t> to) noexcept {
  return eachBlock(aesDecrypt, key, from, to);
}

}  // namespace vantrel::aes128
