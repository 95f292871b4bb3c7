#pragma once

#include <cstdint>
#include <string_view>

namespace vantrel::base::detail {

/// SipHash-1-3 (Aumasson, Bernstein: "SipHash: a fast short-input PRF") of the text under a secret that this
/// process draws at random, so that nobody outside can prepare keys that collide.
std::uint64_t hashOfKey(std::string_view text) noexcept;

}  // namespace vantrel::base::detail
