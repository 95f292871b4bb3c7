#pragma once

#include <optional>

#include "vantrel/platform/Bytes.h"
#include "vantrel/platform/Export.h"
#include "vantrel/platform/ValueTree.h"

/// Binary property lists ("bplist00") to and from `ValueTree`. Stateless; any thread.
/// What JSON's null is has no place in a property list.
namespace vantrel::plist {

/// Reads a property list. Absent for anything malformed, and for what goes past these bounds: 512 levels, 64
/// MiB of input, and 4 million values once shared references are followed.
VANTREL_EXPORT std::optional<ValueTree> parse(const Bytes& contents);

/// Writes a property list; equal strings and numbers are written once. Absent for null values, invalid UTF-8
/// and too many levels.
VANTREL_EXPORT std::optional<Bytes> write(const ValueTree& value);

}  // namespace vantrel::plist
