#include "vantrel/base/simd/Target.h"

#if defined(__x86_64__)
#include <cpuid.h>
#elif defined(__aarch64__) && defined(__linux__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace vantrel::simd {
namespace {

#if defined(__x86_64__)

constexpr unsigned kF16cBit = 1U << 29;  // leaf 1, ECX
constexpr unsigned kVaesBit = 1U << 9;   // leaf 7, ECX

// Two features that clang's __builtin_cpu_supports does not know by name. That the system saves the wide
// registers is part of what the builtin says about AVX2 and AVX-512.
bool hasF16c() noexcept {
  unsigned a = 0, b = 0, c = 0, d = 0;
  return __get_cpuid(1, &a, &b, &c, &d) != 0 && (c & kF16cBit) != 0;
}

bool hasVaes() noexcept {
  unsigned a = 0, b = 0, c = 0, d = 0;
  return __get_cpuid_count(7, 0, &a, &b, &c, &d) != 0 && (c & kVaesBit) != 0;
}

// The lists are what the compiler may use in code of the target, so each item has to be there.
bool hasAvx2() noexcept {
  __builtin_cpu_init();
  return __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("pclmul") &&
         __builtin_cpu_supports("aes") && __builtin_cpu_supports("avx2") && __builtin_cpu_supports("bmi") &&
         __builtin_cpu_supports("bmi2") && __builtin_cpu_supports("fma") && hasF16c();
}

bool hasAvx512() noexcept {
  return hasAvx2() && __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
         __builtin_cpu_supports("avx512bitalg") && __builtin_cpu_supports("avx512vpopcntdq") &&
         __builtin_cpu_supports("vpclmulqdq") && hasVaes();
}

#endif

Target fastest() noexcept {
  Target best = Target::Plain;
  for (Target target : kTargets) {
    if (runs(target)) best = target;
  }
  return best;
}

}  // namespace

namespace detail {
constinit std::atomic<Target> chosenTarget{Target::Plain};
}  // namespace detail

bool runs(Target target) noexcept {
  switch (target) {
    case Target::Plain:
      return true;
#if defined(__x86_64__)
    case Target::Avx2:
      return hasAvx2();
    case Target::Avx512:
      return hasAvx512();
#endif
#if defined(__aarch64__) && defined(__linux__)
    case Target::Neon: {
      constexpr unsigned long kNeeded = HWCAP_ASIMD | HWCAP_AES | HWCAP_PMULL;
      return (getauxval(AT_HWCAP) & kNeeded) == kNeeded;
    }
#endif
    default:
      return false;
  }
}

ScopedTargetLimit::ScopedTargetLimit(Target target) noexcept : earlier_(current()) {
  if (runs(target)) detail::chosenTarget.store(target, std::memory_order_relaxed);
}

ScopedTargetLimit::~ScopedTargetLimit() { detail::chosenTarget.store(earlier_, std::memory_order_relaxed); }

namespace {
[[maybe_unused]] const bool kChosen =
    (detail::chosenTarget.store(fastest(), std::memory_order_relaxed), true);
}  // namespace

}  // namespace vantrel::simd
