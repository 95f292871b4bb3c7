/* Uses the checksum as a program written in C does. */
#include "tests/support/Expect.h"
#include "vantrel/codec/kw_crc16.h"

int crc16FromC(void) {
  const uint8_t* bytes = (const uint8_t*)"123456789";
  expect(kw_count_crc_deal(bytes, 9) == 0x31C3 && tmp_name_crc == 0x31C3, "one shot");
  expect(kw_count_all_crc_deal(bytes, 9, 0xFFFF) == 0x29B1, "another start");
  kw_resetCrc();
  expect(kw_count_all_crc_deal(bytes + 4, 5, kw_count_crc_deal(bytes, 4)) == 0x31C3, "two pieces");
  return failures;
}
