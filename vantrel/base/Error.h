#pragma once

#include <cstdint>
#include <string>

#include "vantrel/base/ValueTree.h"

namespace vantrel {

/// What went wrong, for callers that are told: the domain that numbers the codes, the code, and what else is
/// known (a dictionary, often empty; "description" holds a text for people when there is one).
struct Error {
  std::string domain;
  std::int64_t code = 0;
  ValueTree info = ValueTree::dictionary();

  friend bool operator==(const Error&, const Error&) = default;
};

}  // namespace vantrel
