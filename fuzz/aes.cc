// Any bytes as key, place and text: on every instruction set of the machine the blocks have to be
// libcrypto's, whether the result goes elsewhere or where the text stood, and have to come back.
#include <openssl/evp.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "vantrel/base/simd/Target.h"
#include "vantrel/codec/AESx.h"

namespace {

using namespace vantrel;
using AesBlock = std::array<std::uint8_t, 16>;
using Buffer = std::vector<std::uint8_t>;

enum class Way { Encrypt, Decrypt };

void demand(bool holds) {
  if (!holds) std::abort();
}

// Whole blocks, no chaining, no padding.
Buffer aesByOpenssl(Way way, const AesBlock& key, std::span<const std::uint8_t> blocks) {
  Buffer result(blocks.size());
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  int written = 0;
  demand(EVP_CipherInit_ex(context, EVP_aes_128_ecb(), nullptr, key.data(), nullptr, way == Way::Encrypt) ==
         1);
  demand(EVP_CIPHER_CTX_set_padding(context, 0) == 1);
  demand(EVP_CipherUpdate(context, result.data(), &written, blocks.data(), static_cast<int>(blocks.size())) ==
         1);
  EVP_CIPHER_CTX_free(context);
  demand(static_cast<std::size_t>(written) == blocks.size());
  return result;
}

struct Input {
  AesBlock key{};
  std::uint32_t length;  // up to 15 less than the text
  std::ptrdiff_t distance;
  Buffer text;
};

Input read(const std::uint8_t* bytes, std::size_t size) {
  Input input{{}, 0, 0, {}};
  for (auto& byte : input.key) {
    if (size > 0) byte = *bytes++, --size;
  }
  std::uint8_t place = 0;
  if (size > 0) place = *bytes++, --size;
  input.length = static_cast<std::uint32_t>(size);
  input.distance = static_cast<std::int8_t>(place);
  input.text.assign(bytes, bytes + size);
  input.text.resize((size + 15) / 16 * 16);
  return input;
}

// One block after the other within one buffer, as the operation is defined, by libcrypto.
Buffer expectedInPlace(Way way, const Input& input, Buffer buffer, std::size_t src, std::size_t size) {
  for (std::size_t at = src; at < src + size; at += 16) {
    const auto block = aesByOpenssl(way, input.key, std::span(buffer).subspan(at, 16));
    std::copy(block.begin(), block.end(), buffer.begin() + static_cast<std::ptrdiff_t>(at) + input.distance);
  }
  return buffer;
}

void tryOneTarget(const Input& input) {
  auto& aes = AESx::shared();
  const auto& text = input.text;
  const auto expected = aesByOpenssl(Way::Encrypt, input.key, text);
  Buffer out(text.size());
  demand(aes.Dcs_EnCodeSrc_Des_Lenghts_Key(text.data(), out.data(), input.length, input.key.data()) ==
         text.size());
  demand(out == expected);
  aes.Dcs_DeCodeSrc_Des_Lengths_Key(out.data(), out.data(), static_cast<std::uint32_t>(out.size()),
                                    input.key.data());
  demand(out == text);

  constexpr std::size_t kMargin = 128;
  Buffer both(kMargin);
  both.insert(both.end(), text.begin(), text.end());
  both.resize(both.size() + kMargin);
  const std::uint8_t* src = both.data() + kMargin;
  const auto wanted = expectedInPlace(Way::Encrypt, input, both, kMargin, text.size());
  aes.Dcs_EnCodeSrc_Des_Lenghts_Key(src, both.data() + kMargin + input.distance, input.length,
                                    input.key.data());
  demand(both == wanted);
  const std::size_t whole = input.length / 16 * 16;
  const auto back = expectedInPlace(Way::Decrypt, input, both, kMargin, whole);
  aes.Dcs_DeCodeSrc_Des_Lengths_Key(src, both.data() + kMargin + input.distance, input.length,
                                    input.key.data());
  demand(both == back);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const Input input = read(bytes, size);
  for (const simd::Target target : simd::kTargets) {
    if (!simd::runs(target)) continue;
    const simd::ScopedTargetLimit limit(target);
    tryOneTarget(input);
  }
  return 0;
}
