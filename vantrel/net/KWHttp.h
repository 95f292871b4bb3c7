#pragma once

#include <optional>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"

namespace vantrel {

/// Helpers for addresses of HTTP transfers.
///
/// Threads: any; nothing is kept.
class VANTREL_EXPORT KWHttp {
 public:
  KWHttp() = delete;

  /// Percent-encodes (RFC 3986, UTF-8, uppercase digits) everything but ASCII letters, digits, @
  /// and !$&'()*+,-./:;=?_~ , so "%" and "#" too: encoding twice encodes twice.
  ///
  ///   "a b?x=1&y=é" -> "a%20b?x=1&y=%C3%A9"
  static std::string encodeURL(TextArgument text);

  /// Undoes percent-encoding; "+" stays a "+". Absent when a "%" is not followed by two hexadecimal digits,
  /// and when the result is not valid UTF-8.
  static std::optional<std::string> decodeURL(TextArgument text);
};

}  // namespace vantrel
