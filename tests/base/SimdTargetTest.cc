#include <gtest/gtest.h>

#include "vantrel/base/simd/Target.h"

namespace vantrel::simd {
namespace {

int plain() { return 0; }
int neon() { return 1; }
int avx2() { return 2; }
int avx512() { return 3; }

TEST(SimdVariants, CallTheTargetInUseOrTheNextSlowerOne) {
  constexpr Variants kAll(plain, &neon, &avx2, &avx512);
  constexpr Variants kNoAvx512(plain, &neon, &avx2, nullptr);
  constexpr Variants kNone(plain, nullptr, nullptr, nullptr);
  const Target best = current();
  for (Target target : kTargets) {
    {
      const ScopedTargetLimit limit(target);
      EXPECT_EQ(current(), runs(target) ? target : best);
      const int index = static_cast<int>(current());
      EXPECT_EQ(kAll.chosen()(), index);
      EXPECT_EQ(kNoAvx512.chosen()(), current() == Target::Avx512 ? 2 : index);
      EXPECT_EQ(kNone.chosen()(), 0);
      const ScopedTargetLimit within(best);
      EXPECT_EQ(current(), best);
    }
    EXPECT_EQ(current(), best);
    EXPECT_TRUE(!runs(target) || best >= target) << "the last of the list that runs";
  }
}

}  // namespace
}  // namespace vantrel::simd
