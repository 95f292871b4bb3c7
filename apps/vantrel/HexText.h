#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "vantrel/base/Bytes.h"

namespace app {

/// Hexadecimal text that comes in pieces: digits in pairs, with white space wherever one likes. The library
/// makes bytes of any text, so what is no hexadecimal is found here, and told with its place.
class HexText {
 public:
  /// False, with a message, when there is anything but digits and white space.
  bool add(std::string_view piece);

  /// The bytes of the pairs since the last call.
  vantrel::Bytes takePairs();

  /// False, with a message, when the last digit has no second one.
  bool end() const;

 private:
  std::string digits_;
  std::uint64_t length_ = 0;
  std::uint64_t lastDigit_ = 0;
};

}  // namespace app
