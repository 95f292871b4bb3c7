#include <cstdlib>

#include "vantrel/data/PropertyList.h"

// What is accepted can be written, and reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantrel;
  const auto value = plist::parse(Bytes::copyOf(std::span(data, size)));
  if (!value) return 0;
  const auto written = plist::write(*value);
  if (!written) std::abort();
  const auto again = plist::parse(*written);
  if (!again || !(*again == *value)) std::abort();
  return 0;
}
