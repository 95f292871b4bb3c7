#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "vantrel/base/Export.h"

/// Which instruction set the byte kernels run with, chosen once for the processor at hand.
///
/// A kernel is written once against Highway, compiled for every target of this list (see HighwayTargets.h),
/// and stands beside a plain function that gives the same results on any machine. This header takes the place
/// of Highway's own run-time choice, which lives in a shared library that a program with nothing but a hex
/// table in it should not have to load.
///
/// Threads: any; `ScopedTargetLimit` is for tests and touches the whole process.
namespace vantrel::simd {

/// From the slowest to the fastest; a machine may lack some in between.
enum class Target : std::uint8_t {
  Plain,   ///< ordinary C++
  Neon,    ///< ARM with Advanced SIMD and the cryptography instructions
  Avx2,    ///< x86 with AVX2, BMI2, FMA, AES and carry-less multiplication
  Avx512,  ///< x86 with AVX-512 F, BW, DQ, VL, VBMI, VBMI2, BITALG, VPOPCNTDQ, and 512-bit AES and carry-less
           ///< multiplication
};

inline constexpr std::array kTargets{Target::Plain, Target::Neon, Target::Avx2, Target::Avx512};

/// The target's name, for tests and benchmarks.
constexpr const char* nameOf(Target target) noexcept {
  constexpr std::array kNames{"Plain", "Neon", "Avx2", "Avx512"};
  return kNames[static_cast<std::size_t>(target)];
}

/// Whether the processor and the operating system can run code of this target. Plain always runs.
VANTREL_EXPORT bool runs(Target target) noexcept;

namespace detail {
/// Plain until the library's initialisers have run, so a call from another initialiser is slow but right.
VANTREL_EXPORT extern constinit std::atomic<Target> chosenTarget;
}  // namespace detail

/// The target in use: the fastest that runs, unless a limit stands.
inline Target current() noexcept { return detail::chosenTarget.load(std::memory_order_relaxed); }

/// One kernel's function for each target. A target that was not compiled takes the next slower one.
///
///   constexpr simd::Variants kSum(sumPlain, sumNeon, sumAvx2, sumAvx512);
///   return kSum.chosen()(data, size);
template <typename Function>
class Variants {
 public:
  using Pointer = std::type_identity_t<Function>*;

  constexpr Variants(Function* plain, Pointer neon, Pointer avx2, Pointer avx512) noexcept
      : functions_{plain, neon ? neon : plain, avx2 ? avx2 : plain,
                   avx512 ? avx512
                   : avx2 ? avx2
                          : plain} {}

  Pointer chosen() const noexcept { return functions_[static_cast<std::size_t>(current())]; }

 private:
  std::array<Pointer, kTargets.size()> functions_;
};

/// Makes every kernel use this target as long as the object lives; a target that does not run here is ignored
/// and the choice stays. Scopes nest.
class VANTREL_EXPORT ScopedTargetLimit {
 public:
  explicit ScopedTargetLimit(Target target) noexcept;
  ~ScopedTargetLimit();
  ScopedTargetLimit(const ScopedTargetLimit&) = delete;
  ScopedTargetLimit& operator=(const ScopedTargetLimit&) = delete;

 private:
  Target earlier_;
};

}  // namespace vantrel::simd
