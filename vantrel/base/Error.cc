#include "vantrel/base/Error.h"

#include <system_error>
#include <utility>

namespace vantrel {

Error Error::ofSystem(int code) { return saying(kSystemDomain, code, std::generic_category().message(code)); }

Error Error::saying(std::string domain, std::int64_t code, std::string_view description) {
  Error error{std::move(domain), code};
  error.info.set("description", description);
  return error;
}

std::string Error::description() const {
  if (const auto text = info["description"].asString()) return std::string(*text);
  return domain + " " + std::to_string(code);
}

}  // namespace vantrel
