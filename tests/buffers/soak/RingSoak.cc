#include "tests/buffers/RingTransfer.h"

namespace vantrel::tests {
namespace {

class RingSoak : public testing::TestWithParam<std::uint32_t> {};

// 10^11 bytes in all, each tenth with sizes and a ring of its own.
INSTANTIATE_TEST_SUITE_P(Seeds, RingSoak, testing::Range(1U, 11U));

TEST_P(RingSoak, DeliversEveryByteInOrder) {
  const auto ringSize = static_cast<std::int32_t>(4096U << GetParam());
  transferThroughKWRing({ringSize, 10'000'000'000, 100 * GetParam()});
}

}  // namespace
}  // namespace vantrel::tests
