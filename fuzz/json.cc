#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "vantrel/data/Json.h"

/// What is accepted can be written, in both layouts, and reads back to the same value. What is refused has a
/// place where it stops being JSON.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vantrel;
  const auto value = json::parse({reinterpret_cast<const char*>(data), size});
  if (!value) {
    if (value.error().code == json::kTooLarge) std::abort();
    return 0;
  }
  const auto pretty = json::writePretty(*value);
  const auto compact = json::writeCompact(*value);
  if (!pretty || json::parse(*pretty) != value) std::abort();
  if (!compact || json::parse(*compact) != value) std::abort();
  return 0;
}
