/* CRC-16/XMODEM as plain functions. C11 and C++20.
 *
 * Polynomial 0x1021, most significant bit first, nothing reflected, no final XOR (the check value of the nine
 * ASCII bytes 123456789 is 0x31C3). A computation may be cut anywhere: each piece continues from the result
 * of the one before. Other start values are given the same way: 0xFFFF for the variant that many call
 * CCITT-FALSE (check value 0x29B1).
 *
 * There are no failures. With length 0 the bytes are not looked at, and may be null; otherwise the caller
 * owns at least `length` of them. Lengths are 0 to 65535: longer data is continued in pieces, or, in C++,
 * given whole to crc16 of vantrel/codec/Crc.h.
 *
 * Threads: any. The checksums are always right; of calls at the same time, one that stored last has left
 * tmp_name_crc.
 */
#ifndef VANTREL_CODEC_KW_CRC16_H
#define VANTREL_CODEC_KW_CRC16_H

#include <stdint.h>

#include "vantrel/base/Export.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The result of the last computation, of these functions and of the class KWCrc16 alike. To be read. */
VANTREL_EXPORT extern uint16_t tmp_name_crc;

/* The checksum of the bytes, from start value 0; 0 for length 0. The running value is left as it was. */
VANTREL_EXPORT uint16_t kw_count_crc_deal(const uint8_t* bytes, uint16_t length);

/* The checksum continued from `crc`; `crc` itself for length 0. The running value becomes the result.
 *
 *   assert(kw_count_all_crc_deal(rest, 5, kw_count_crc_deal(front, 4)) == kw_count_crc_deal(both, 9));
 */
VANTREL_EXPORT uint16_t kw_count_all_crc_deal(const uint8_t* bytes, uint16_t length, uint16_t crc);

/* Sets the running value to 0. No computation reads it, so results are the same with and without. */
VANTREL_EXPORT void kw_resetCrc(void);

#ifdef __cplusplus
}
#endif

#endif
