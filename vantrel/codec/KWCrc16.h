#pragma once

#include <cstdint>

#include "vantrel/base/Export.h"

namespace vantrel {

/// CRC-16/XMODEM: the functions of kw_crc16.h as class operations, with the same results, running value and
/// `tmp_name_crc`.
///
/// Threads: any, as there.
class VANTREL_EXPORT KWCrc16 {
 public:
  KWCrc16() = delete;

  /// The checksum of `Length` bytes from start value 0; 0 for none, and the pointer may then be null.
  /// "123456789" -> 0x31C3
  static std::uint16_t didCrc16_Length(const std::uint8_t* bytes, std::uint16_t Length);

  /// The checksum continued from `CrcValue`; `CrcValue` itself for no bytes.
  /// "123456789" from 0xFFFF -> 0x29B1
  static std::uint16_t didCrc16All_Length_CrcValue(const std::uint8_t* bytes, std::uint16_t Length,
                                                   std::uint16_t CrcValue);

  /// Sets the running value to 0.
  static void didResetCrc();
};

}  // namespace vantrel
