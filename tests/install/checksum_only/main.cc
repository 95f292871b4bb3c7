#include <cstdint>
#include <cstdio>

#include "vantrel/codec/kw_crc16.h"

int main() {
  const std::uint8_t text[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  std::printf("%04x\n", unsigned{kw_count_crc_deal(text, sizeof text)});
}
