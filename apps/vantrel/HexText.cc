#include "apps/vantrel/HexText.h"

#include <cctype>

#include "apps/vantrel/Output.h"
#include "vantrel/codec/KWTools.h"

namespace app {

bool HexText::add(std::string_view piece) {
  for (const unsigned char character : piece) {
    ++length_;
    if (std::isspace(character) != 0) continue;
    if (std::isxdigit(character) == 0) {
      message("no hexadecimal digit at character " + std::to_string(length_));
      return false;
    }
    digits_ += static_cast<char>(character);
    lastDigit_ = length_;
  }
  return true;
}

vantrel::Bytes HexText::takePairs() {
  const std::size_t length = digits_.size() / 2 * 2;
  auto bytes = vantrel::KWTools::HexToData(std::string_view(digits_).substr(0, length));
  digits_.erase(0, length);
  return bytes;
}

bool HexText::end() const {
  if (digits_.size() % 2 != 0)
    message("no second hexadecimal digit for the one at character " + std::to_string(lastDigit_));
  return digits_.size() % 2 == 0;
}

}  // namespace app
