#include <cstdio>

#include "vantrel/codec/KWTools.h"

using vantrel::KWTools;

int main() { std::puts(KWTools::dataToHex(KWTools::HexToData("0A 0b ff")).c_str()); }
