#pragma once

#include <gtest/gtest.h>

#include "vantrel/base/simd/Target.h"

namespace vantrel::tests {

/// Runs `test` once with each instruction set that this machine has, the plain one included.
template <typename Test>
void onEachTarget(Test test) {
  for (const simd::Target target : simd::kTargets) {
    if (!simd::runs(target)) continue;
    const simd::ScopedTargetLimit limit(target);
    SCOPED_TRACE(simd::nameOf(target));
    test();
    if (testing::Test::HasFatalFailure()) return;
  }
}

}  // namespace vantrel::tests
