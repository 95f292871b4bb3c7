#pragma once

#include "vantrel/base/Bytes.h"
#include "vantrel/base/Result.h"
#include "vantrel/base/ValueTree.h"

namespace vantrel::plist::detail {

/// Whether the contents begin as XML does; also in UTF-16, which a byte-order mark tells.
bool looksLikeXml(const Bytes& contents);

/// Reads the XML form of a property list: one value in a `plist` element. Iterative, and nothing is expanded
/// but characters. Fails for anything malformed, for other encodings than UTF-8 and UTF-16, for entities of
/// the document's own, and past the bounds of the binary form.
Result<ValueTree> parseXml(const Bytes& contents);

}  // namespace vantrel::plist::detail
