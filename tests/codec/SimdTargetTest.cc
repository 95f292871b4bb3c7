#include <gtest/gtest.h>

#include "vantrel/base/simd/Target.h"

namespace vantrel::simd {
namespace {

TEST(SimdTarget, IsTheLastOfTheListThatRuns) {
  Target best = Target::Plain;
  for (Target target : kTargets) {
    if (runs(target)) best = target;
  }
  EXPECT_TRUE(runs(Target::Plain));
  EXPECT_EQ(current(), best);
}

TEST(SimdTarget, LimitsNestAndEnd) {
  const Target best = current();
  {
    const ScopedTargetLimit plain(Target::Plain);
    EXPECT_EQ(current(), Target::Plain);
    {
      const ScopedTargetLimit again(best);
      EXPECT_EQ(current(), best);
    }
    EXPECT_EQ(current(), Target::Plain);
  }
  EXPECT_EQ(current(), best);
}

TEST(SimdTarget, LimitsToWhatCannotRunChangeNothing) {
  const Target best = current();
  for (Target target : kTargets) {
    if (runs(target)) continue;
    const ScopedTargetLimit limit(target);
    EXPECT_EQ(current(), best) << nameOf(target);
  }
}

int plain() { return 0; }
int neon() { return 1; }
int avx2() { return 2; }
int avx512() { return 3; }

TEST(SimdVariants, CallTheTargetInUseOrTheNextSlowerOne) {
  constexpr Variants kAll(plain, &neon, &avx2, &avx512);
  constexpr Variants kNoAvx512(plain, &neon, &avx2, nullptr);
  constexpr Variants kNone(plain, nullptr, nullptr, nullptr);
  for (Target target : kTargets) {
    if (!runs(target)) continue;
    const ScopedTargetLimit limit(target);
    const int index = static_cast<int>(target);
    EXPECT_EQ(kAll.chosen()(), index);
    EXPECT_EQ(kNoAvx512.chosen()(), target == Target::Avx512 ? 2 : index);
    EXPECT_EQ(kNone.chosen()(), 0);
  }
}

}  // namespace
}  // namespace vantrel::simd
