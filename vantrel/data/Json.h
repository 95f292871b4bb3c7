#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/TextArgument.h"
#include "vantrel/base/ValueTree.h"

/// JSON text (RFC 8259) to and from `ValueTree`. Stateless; any thread.
namespace vantrel::json {

/// Levels of nesting that a text may have, in either direction.
inline constexpr std::size_t kMaxDepth = 512;

/// Bytes of memory that a text may take.
inline constexpr std::uint64_t kMemoryLimit = std::uint64_t{4} << 30;

/// The domain of the errors that these operations give, and their codes.
inline constexpr const char* kErrorDomain = "vantrel.json";
enum ErrorCode : std::int64_t {
  kNotJson = 1,      ///< `info` has "line" and "column"
  kTooDeep = 2,      ///< the same of a text, "path" of a value
  kTooLarge = 3,     ///< the text takes more memory than it may
  kNotWritable = 4,  ///< JSON has no form for a value; `info` has its "path"
};

/// Reads one JSON value, which may be of any kind, with white space around it. Fails for anything else:
/// invalid UTF-8, trailing text, a byte-order mark, more than `kMaxDepth` levels, a number too large for a
/// double. The error tells where the text stops being JSON and what would have to stand there: "line 2,
/// column 13: expected a value". Both count from 1, columns in characters; a line ends with a line feed.
///
/// Integers that fit int64 or uint64 are kept exactly; other numbers become the nearest double,
/// however they are spelled. Of equal keys the last one counts. "-0" is the floating -0.0, which equals 0.
///
/// Takes about three times the text's size in memory for most documents, nine to ten times where each value
/// is two or three characters, and never more than fourteen times and a kilobyte, for as long as any part of
/// the value is in use. Fails where more than `memoryLimit` bytes would be needed.
VANTREL_EXPORT Result<ValueTree> parse(TextArgument text, std::uint64_t memoryLimit = kMemoryLimit);

/// Writes UTF-8 text with one member a line, indented by four spaces a level. Doubles are written so that
/// they read back to the same value. Fails for what JSON cannot hold: NaN, infinities, dates, bytes, invalid
/// UTF-8, too many levels. The error tells where, as a JSON Pointer (RFC 6901): "/songs/3/length: NaN has no
/// form in JSON".
VANTREL_EXPORT Result<std::string> writePretty(const ValueTree& value);

/// The same on one line without spaces.
VANTREL_EXPORT Result<std::string> writeCompact(const ValueTree& value);

}  // namespace vantrel::json
