#pragma once

#include "vantrel/base/ValueTree.h"

namespace vantrel::json::detail {

/// How far behind a number `readNumber` may read.
inline constexpr std::size_t kNumberPadding = 8;

/// Reads the number (RFC 8259, section 6) at `next` into `value`, which must hold nothing counted. Gives the
/// place behind it, or null when none stands there or it is too large for a double.
const char* readNumber(const char* next, ValueTree& value) noexcept;

}  // namespace vantrel::json::detail
