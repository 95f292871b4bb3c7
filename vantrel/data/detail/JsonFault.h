#pragma once

#include <optional>
#include <string_view>

#include "vantrel/base/Error.h"

namespace vantrel::json::detail {

/// Where a text stops being JSON, and what would have to stand there; absent when it is JSON. A second walk,
/// so that reading need not keep account of where it is.
std::optional<Error> faultIn(std::string_view text);

}  // namespace vantrel::json::detail
