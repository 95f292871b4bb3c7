#pragma once

#include <gtest/gtest.h>

#include "vantrel/base/simd/Target.h"

namespace vantrel::codec::testing {

/// Runs `test` once with each instruction set that this machine has, the plain one included.
template <typename Test>
void onEachTarget(Test test) {
  for (const simd::Target target : simd::kTargets) {
    if (!simd::runs(target)) continue;
    const simd::ScopedTargetLimit limit(target);
    SCOPED_TRACE(simd::nameOf(target));
    test();
  }
}

}  // namespace vantrel::codec::testing
