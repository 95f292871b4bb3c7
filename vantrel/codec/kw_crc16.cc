#include "vantrel/codec/kw_crc16.h"

#include "vantrel/codec/Crc.h"
#include "vantrel/codec/detail/Crc16Running.h"

std::uint16_t tmp_name_crc = 0;

namespace {

std::uint16_t crc16_value = 0;
std::uint16_t crc16_backup = 0;

// Values that any thread may store at any time: nothing is ordered by them, but none is torn.
void store(std::uint16_t& variable, std::uint16_t value) {
  __atomic_store_n(&variable, value, __ATOMIC_RELAXED);
}

std::uint16_t load(const std::uint16_t& variable) { return __atomic_load_n(&variable, __ATOMIC_RELAXED); }

std::uint16_t kw_browse_crc16(const std::uint8_t* bytes, std::uint16_t length, std::uint16_t start) {
  const std::uint16_t crc = vantrel::crc16({bytes, length}, start);
  store(crc16_value, crc);
  return crc;
}

}  // namespace

std::uint16_t vantrel::codec::detail::crc16Running() noexcept { return load(crc16_value); }

std::uint16_t kw_count_crc_deal(const std::uint8_t* bytes, std::uint16_t length) {
  store(crc16_backup, load(crc16_value));
  const std::uint16_t crc = kw_browse_crc16(bytes, length, 0);
  store(tmp_name_crc, crc);
  store(crc16_value, load(crc16_backup));
  return crc;
}

std::uint16_t kw_count_all_crc_deal(const std::uint8_t* bytes, std::uint16_t length, std::uint16_t crc) {
  const std::uint16_t result = kw_browse_crc16(bytes, length, crc);
  store(tmp_name_crc, result);
  return result;
}

void kw_resetCrc(void) { store(crc16_value, 0); }
