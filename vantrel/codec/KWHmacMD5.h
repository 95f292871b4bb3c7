#pragma once

#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/TextArgument.h"

namespace vantrel {

/// Digests of text as hexadecimal digits: MD5 (RFC 1321) and HMAC-MD5 (RFC 2104).
///
/// Text and key count up to, not including, their first zero byte; the bytes before it are taken as they are,
/// whether they are valid UTF-8 or not. Every text and key of any length, also empty, gives a digest.
///
/// MD5 protects nothing against an attacker who can choose the text. It is here for protocols that ask for
/// it.
///
/// Threads: any.
class VANTREL_EXPORT KWHmacMD5 {
 public:
  KWHmacMD5() = delete;

  /// The MD5 of the text, without a key in spite of the name: 32 UPPERCASE digits.
  /// "abc" -> "900150983CD24FB0D6963F7D28E17F72"
  static std::string HmacMD5String(TextArgument text);

  /// The HMAC-MD5 of the text: 32 lowercase digits. A key of more than 64 bytes counts as its MD5, a shorter
  /// one as if it were filled up with zero bytes.
  /// "what do ya want for nothing?", "Jefe" -> "750c783e6ab0b503eaa86e310a5db738"
  static std::string HmacMD5String_Key(TextArgument text, TextArgument Key);
};

}  // namespace vantrel
