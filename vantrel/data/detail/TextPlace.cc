#include "vantrel/data/detail/TextPlace.h"

#include <algorithm>
#include <string>

#include "vantrel/base/Utf8.h"

namespace vantrel::data::detail {

Error errorAt(std::string_view text, std::size_t offset, const char* domain, std::int64_t code,
              std::string_view why) {
  const std::string_view before = text.substr(0, offset);
  const auto line = std::ranges::count(before, '\n') + 1;
  const auto column = std::ranges::count_if(before.substr(before.rfind('\n') + 1), text::beginsCharacter) + 1;
  std::string place = "line " + std::to_string(line) + ", column " + std::to_string(column) + ": ";
  Error error = Error::saying(domain, code, place.append(why));
  error.info.set("line", line);
  error.info.set("column", column);
  return error;
}

}  // namespace vantrel::data::detail
