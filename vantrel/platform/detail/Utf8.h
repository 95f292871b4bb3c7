#pragma once

#include <string_view>

namespace vantrel::platform::detail {

/// Well-formed UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF.
bool isUtf8(std::string_view text) noexcept;

}  // namespace vantrel::platform::detail
