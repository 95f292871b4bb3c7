#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "vantrel/base/Error.h"

namespace vantrel::data::detail {

/// "line 2, column 13: why", of the byte at `offset`; `info` has the line and the column. Both count from 1,
/// columns in characters.
Error errorAt(std::string_view text, std::size_t offset, const char* domain, std::int64_t code,
              std::string_view why);

}  // namespace vantrel::data::detail
