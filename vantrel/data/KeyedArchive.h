#pragma once

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Export.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/TextArgument.h"
#include "vantrel/base/ValueTree.h"

/// Keyed archives in the platform's layout: a binary property list with "$archiver" ("NSKeyedArchiver"),
/// "$version" (100000), "$objects" and "$top", in which objects refer to each other by UIDs. Stateless; any
/// thread.
namespace vantrel::keyedarchive {

/// An archive that holds `value` under `key`. Lists, dictionaries, data and dates become instances of
/// NSArray, NSDictionary, NSData and NSDate; strings, numbers and booleans stand plain; null is "$null" at
/// the top and an NSNull inside of something. Fails for invalid UTF-8 and past the bounds of `plist::parse`.
VANTREL_EXPORT Result<Bytes> archive(const ValueTree& value, TextArgument key);

/// The value under `key`. Fails, with the errors of `plist::parse`, when there is none, when the bytes are no
/// such archive, when the value holds classes other than dictionaries, arrays, sets, strings, data (mutable
/// or not), dates and NSNull, when a dictionary has keys that are no strings, when objects refer to each
/// other in a circle, and past the bounds of `plist::parse`. "$null" and NSNull read as null. A number or
/// boolean that was encoded without an object reads like any other.
VANTREL_EXPORT Result<ValueTree> unarchive(const Bytes& contents, TextArgument key);

}  // namespace vantrel::keyedarchive
