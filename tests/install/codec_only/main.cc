#include <iostream>

#include "vantrel/codec/KWTools.h"

using vantrel::Bytes;
using vantrel::KWTools;

int main() {
  const Bytes bytes = KWTools::HexToData("0A 0b ff");
  std::cout << KWTools::dataToHex(bytes) << '\n';
}
