// Any text goes through every vector path of the machine and has to give what the C library gives; any bytes
// have to come back from their text.
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string_view>

#include "tests/codec/HexOracle.h"
#include "vantrel/base/Utf8.h"
#include "vantrel/base/simd/Target.h"
#include "vantrel/codec/KWTools.h"

namespace {

using namespace vantrel;

void demand(bool holds) {
  if (!holds) std::abort();
}

void tryOneTarget(std::string_view input) {
  const Bytes data = Bytes::copyOf(input);
  const std::string text = KWTools::dataToHex(data);
  demand(text.size() == 2 * input.size());
  demand(KWTools::HexToData(text) == data);

  const Bytes read = KWTools::HexToData(input);
  // What is not UTF-8 counts as the text with replacement characters in it.
  const std::string repaired = text::utf8(text::utf16(input));
  demand(read == Bytes(tests::hexByStrtol(repaired)));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view input(reinterpret_cast<const char*>(bytes), size);
  for (simd::Target target : simd::kTargets) {
    if (!simd::runs(target)) continue;
    const simd::ScopedTargetLimit limit(target);
    tryOneTarget(input);
  }
  return 0;
}
