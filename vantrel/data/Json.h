#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "vantrel/base/Export.h"
#include "vantrel/base/ValueTree.h"

/// JSON text (RFC 8259) to and from `ValueTree`. Stateless; any thread.
namespace vantrel::json {

/// Levels of nesting that a text may have, in either direction.
inline constexpr std::size_t kMaxDepth = 512;

/// Bytes of memory that a text may take.
inline constexpr std::uint64_t kMemoryLimit = std::uint64_t{4} << 30;

/// Reads one JSON value, which may be of any kind, with white space around it. Absent for anything else:
/// invalid UTF-8, trailing text, a byte-order mark, more than `kMaxDepth` levels, a number too large for a
/// double. Integers that fit int64 or uint64 are kept exactly; other numbers become the nearest double,
/// however they are spelled. Of equal keys the last one counts. "-0" is the floating -0.0, which equals 0.
///
/// Takes about three times the text's size in memory for most documents, nine to ten times where each value
/// is two or three characters, and never more than fourteen times and a kilobyte, for as long as any part of
/// the value is in use. Absent where more than `memoryLimit` bytes would be needed.
VANTREL_EXPORT std::optional<ValueTree> parse(std::string_view text,
                                              std::uint64_t memoryLimit = kMemoryLimit);

/// Writes UTF-8 text with one member a line, indented by four spaces a level. Doubles are written so that
/// they read back to the same value. Absent for what JSON cannot hold: NaN, infinities, dates, bytes, invalid
/// UTF-8, too many levels.
VANTREL_EXPORT std::optional<std::string> writePretty(const ValueTree& value);

/// The same on one line without spaces.
VANTREL_EXPORT std::optional<std::string> writeCompact(const ValueTree& value);

}  // namespace vantrel::json
