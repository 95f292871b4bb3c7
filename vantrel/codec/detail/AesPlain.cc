#include "vantrel/codec/detail/AesKernels.h"

namespace vantrel::codec::detail {
namespace {

template <void (*rounds)(AesState&, const std::uint8_t*)>
void eachBlock(const std::uint8_t* schedule, AesState& state, const std::uint8_t* from, std::uint8_t* to,
               std::size_t blocks) {
  for (; blocks > 0; --blocks, from += kAesBlock, to += kAesBlock) {
    loadState(state, from);
    rounds(state, schedule);
    storeState(state, to);
  }
}

}  // namespace

void aesEncryptPlain(const std::uint8_t* key, std::uint8_t* schedule, AesState& state,
                     const std::uint8_t* from, std::uint8_t* to, std::size_t blocks) {
  expandKey(key, schedule);
  eachBlock<cipher>(schedule, state, from, to, blocks);
}

void aesDecryptPlain(const std::uint8_t* key, std::uint8_t* schedule, AesState& state,
                     const std::uint8_t* from, std::uint8_t* to, std::size_t blocks) {
  expandKey(key, schedule);
  eachBlock<inverseCipher>(schedule, state, from, to, blocks);
}

}  // namespace vantrel::codec::detail
