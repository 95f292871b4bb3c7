#include <cstdlib>

#include "vantrel/data/KeyedArchive.h"

// What is accepted can be archived, and reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantrel;
  constexpr std::string_view kKey = "Some Key Value";
  const auto value = keyedarchive::unarchive(Bytes::copyOf(std::span(data, size)), kKey);
  if (!value) return 0;
  const auto archived = keyedarchive::archive(*value, kKey);
  if (!archived) std::abort();
  const auto again = keyedarchive::unarchive(*archived, kKey);
  if (!again || !(*again == *value)) std::abort();
  return 0;
}
