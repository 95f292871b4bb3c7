/* Uses the checksum as a program written in C does. */
#include <stdio.h>
#include <string.h>

#include "vantrel/codec/kw_crc16.h"

static int check(const char* what, unsigned given, unsigned expected) {
  if (given == expected) return 0;
  fprintf(stderr, "%s: %04x, not %04x\n", what, given, expected);
  return 1;
}

int main(void) {
  static const char text[] = "123456789";
  const uint8_t* bytes = (const uint8_t*)text;
  int failures = 0;
  failures += check("one shot", kw_count_crc_deal(bytes, 9), 0x31C3);
  failures += check("tmp_name_crc", tmp_name_crc, 0x31C3);
  failures += check("another start", kw_count_all_crc_deal(bytes, 9, 0xFFFF), 0x29B1);
  kw_resetCrc();
  failures += check("two pieces", kw_count_all_crc_deal(bytes + 4, 5, kw_count_crc_deal(bytes, 4)), 0x31C3);
  return failures;
}
