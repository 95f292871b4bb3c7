#include <cstdlib>
#include <string>

#include "vantrel/data/PropertyList.h"

// What is accepted between the outermost tags can be written in the binary form, and reads back the same.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantrel;
  std::string document = "<plist>";
  document.append(reinterpret_cast<const char*>(data), size);
  document += "</plist>";
  const auto value = plist::parse(Bytes::copyOf(document));
  if (!value) return 0;
  const auto written = plist::write(*value);
  if (!written) std::abort();
  const auto again = plist::parse(*written);
  if (!again || !(*again == *value)) std::abort();
  return 0;
}
