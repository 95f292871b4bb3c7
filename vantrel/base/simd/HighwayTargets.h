#pragma once

/// Sets Highway up for the targets of Target.h. The first include of a kernel's source:
///
///   #include "vantrel/base/simd/HighwayTargets.h"
///   #undef HWY_TARGET_INCLUDE
///   #define HWY_TARGET_INCLUDE "vantrel/codec/detail/SumKernels.cc"  // this very file
///   #include "hwy/foreach_target.h"
///   #include "hwy/highway.h"
///
///   HWY_BEFORE_NAMESPACE();
///   namespace vantrel::codec::detail::HWY_NAMESPACE {
///   #if VANTREL_SIMD_TARGET       // the plain function stands in another file
///   std::uint32_t sum(...) { ... }
///   #endif
///   }
///   HWY_AFTER_NAMESPACE();
///
///   #if HWY_ONCE
///   namespace vantrel::codec::detail {
///   std::uint32_t sum(...) { return VANTREL_SIMD_VARIANTS(sum, sumPlain).chosen()(...); }
///   }
///   #endif
///
/// Nothing here refers to a symbol of Highway's library: only its headers are used, and HWY_EXPORT and
/// HWY_DYNAMIC_DISPATCH are not.

#include "vantrel/base/simd/Target.h"

// The AVX-512 of 2019 and later is compiled in place of the first one; what is left out costs compile time
// and size for machines that run the next lower target well enough.
#define HWY_WANT_AVX3_DL
#define HWY_DISABLED_TARGETS \
  (HWY_SSSE3 | HWY_SSE4 | HWY_AVX3 | HWY_SVE | HWY_SVE2 | HWY_SVE_256 | HWY_SVE2_128)

#include "hwy/base.h"
#include "hwy/detect_targets.h"

// Highway 1.0 counts AVX-VNNI, the short-vector form of dot products, to its AVX3_DL, and many processors
// with all of the rest lack it. Taken out of what the compiler may use, it need not be asked for at run time;
// where the whole build is for processors that have it, it stays.
#if HWY_ARCH_X86 && !defined(__AVXVNNI__)
#undef HWY_PUSH_ATTRIBUTES
#if HWY_COMPILER_CLANG
#define HWY_PUSH_ATTRIBUTES(targets) \
  HWY_PRAGMA(clang attribute push(__attribute__((target(targets ",no-avxvnni"))), apply_to = function))
#else
#define HWY_PUSH_ATTRIBUTES(targets) HWY_PRAGMA(GCC push_options) HWY_PRAGMA(GCC target targets ",no-avxvnni")
#endif
#endif

/// Whether the target being compiled is one of Target.h's fast ones, not Highway's emulation. The NEON of
/// 32-bit ARM is none: it lacks the instructions for AES and carry-less products.
#define VANTREL_SIMD_TARGET (HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128 && !HWY_ARCH_ARM_V7)

/// The `simd::Variants` of a kernel: `plain`, and `function` of each compiled target's namespace. To be used
/// in the namespace that holds those, inside `#if HWY_ONCE`.
#if HWY_ARCH_ARM_V7
#define VANTREL_SIMD_VARIANTS(function, plain) ::vantrel::simd::Variants(plain, nullptr, nullptr, nullptr)
#else
#define VANTREL_SIMD_VARIANTS(function, plain)                                           \
  ::vantrel::simd::Variants(plain, HWY_CHOOSE_NEON(function), HWY_CHOOSE_AVX2(function), \
                            HWY_CHOOSE_AVX3_DL(function))
#endif
