#pragma once

#include <cstdint>

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/ValueTree.h"

/// Property lists to and from `ValueTree`: the binary form ("bplist00") and, for reading, the XML form.
/// Stateless; any thread.
///
/// What JSON's null is has no place in a property list. Dates are kept as seconds since 2001, so that one
/// near the present keeps about a tenth of a microsecond.
namespace vantrel::plist {

/// Most bytes of a file.
inline constexpr std::uint64_t kMaxContents = std::uint64_t{64} << 20;

/// The domain of the errors that these operations give, and their codes.
inline constexpr const char* kErrorDomain = "vantrel.plist";
enum ErrorCode : std::int64_t {
  kMalformed = 1,    ///< of XML, `info` has "line" and "column"
  kPastBounds = 2,   ///< more than may be read, or read again
  kNotWritable = 3,  ///< a property list has no form for a value; `info` has its "path"
};

/// Reads a property list; the value at its top may be of any kind. Fails for anything malformed: offsets,
/// counts and references out of range, invalid text, integers that fit neither int64 nor uint64, keys that
/// are no strings, null objects, containers that hold themselves, objects laid over one another to multiply
/// the file. Fails, too, past these bounds: 512 levels of lists and dictionaries, 64 MiB of input, 4 million
/// values once shared references are followed, 128 MiB of keys.
///
/// A set reads as a list. A UID, which only keyed archives hold, reads as the dictionary that stands for it
/// in the XML form: {"CF$UID": number}. Of equal keys the last one counts. Data of the binary form shares the
/// memory of `contents`.
///
/// XML may be in UTF-8, or in UTF-16 with a byte-order mark; entities that the document declares itself are
/// refused. Its dates are whole seconds of UTC.
VANTREL_EXPORT Result<ValueTree> parse(const Bytes& contents);

/// Writes a property list that `parse` reads back to an equal value; equal strings and numbers are written
/// once. Fails for null values and invalid UTF-8, and tells where as `json::writeCompact` does, and for what
/// goes past the bounds of `parse`.
VANTREL_EXPORT Result<Bytes> write(const ValueTree& value);

}  // namespace vantrel::plist
