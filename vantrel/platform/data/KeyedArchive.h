#pragma once

#include <optional>
#include <string_view>

#include "vantrel/platform/Bytes.h"
#include "vantrel/platform/Export.h"
#include "vantrel/platform/ValueTree.h"

/// Keyed archives in the platform's layout: a binary property list with "$archiver" ("NSKeyedArchiver"),
/// "$version" (100000), "$objects" and "$top", in which objects refer to each other by UIDs. Stateless; any
/// thread.
namespace vantrel::keyedarchive {

/// An archive that holds `value` under `key`. Absent for what an archive cannot hold (see `plist::write`;
/// null is fine here: "$null").
VANTREL_EXPORT std::optional<Bytes> archive(const ValueTree& value, std::string_view key);

/// The value under `key`. Absent when there is none, when the bytes are no such archive, when it holds
/// classes other than dictionaries, arrays, sets, strings, numbers, dates and data, when objects refer to
/// each other in a circle, and past the bounds of `plist::parse`.
VANTREL_EXPORT std::optional<ValueTree> unarchive(const Bytes& contents, std::string_view key);

}  // namespace vantrel::keyedarchive
