#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "tests/buffers/QueueProgram.h"

namespace vantrel::tests {
namespace {

TEST(QueueModelTest, RandomProgramsGiveWhatADequeGives) {
  for (std::uint32_t seed = 0; seed < 64 * 20; ++seed) {
    std::mt19937 random(seed);
    std::vector<std::uint8_t> program(1 + 2 * 500);
    for (std::uint8_t& byte : program) byte = static_cast<std::uint8_t>(random());
    program[0] = static_cast<std::uint8_t>(seed);  // every kind of queue
    ASSERT_EQ(runQueueProgram(program), "") << "seed " << seed;
  }
}

}  // namespace
}  // namespace vantrel::tests
