// Any bytes as key, place and text: on every instruction set of the machine the blocks have to be
// libcrypto's, whether the result goes elsewhere or where the text stood, and have to come back.
#include <algorithm>
#include <cstdlib>

#include "tests/codec/AesOracle.h"
#include "vantrel/base/simd/Target.h"
#include "vantrel/codec/AESx.h"

namespace {

using namespace vantrel;
using tests::AesBlock;
using tests::aesByOpenssl;
using tests::Way;

void demand(bool holds) {
  if (!holds) std::abort();
}

using Buffer = std::vector<std::uint8_t>;

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
