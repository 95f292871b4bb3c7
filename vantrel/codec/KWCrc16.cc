#include "vantrel/codec/KWCrc16.h"

#include "vantrel/codec/kw_crc16.h"

namespace vantrel {

std::uint16_t KWCrc16::didCrc16_Length(const std::uint8_t* bytes, std::uint16_t Length) {
  return kw_count_crc_deal(bytes, Length);
}

std::uint16_t KWCrc16::didCrc16All_Length_CrcValue(const std::uint8_t* bytes, std::uint16_t Length,
                                                   std::uint16_t CrcValue) {
  return kw_count_all_crc_deal(bytes, Length, CrcValue);
}

void KWCrc16::didResetCrc() { kw_resetCrc(); }

}  // namespace vantrel
