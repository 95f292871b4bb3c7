#pragma once

#include <cstdint>
#include <string>

#include "vantrel/base/Export.h"
#include "vantrel/base/ValueTree.h"

namespace vantrel {

/// What went wrong, for callers that are told: the domain that numbers the codes, the code, and what else is
/// known (a dictionary, often empty; "description" holds a text for people when there is one).
struct VANTREL_EXPORT Error {
  /// The domain of the system's error numbers (errno).
  static constexpr const char* kSystemDomain = "NSPOSIXErrorDomain";

  std::string domain;
  std::int64_t code = 0;
  ValueTree info = ValueTree::dictionary();

  /// An error of the system, with the system's text for it.
  static Error ofSystem(int code);

  /// An error with a text for people.
  static Error saying(std::string domain, std::int64_t code, std::string_view description);

  /// The text for people; "domain code" when there is none.
  std::string description() const;

  friend bool operator==(const Error&, const Error&) = default;
};

}  // namespace vantrel
