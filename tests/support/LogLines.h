#pragma once

#include <string>
#include <utility>
#include <vector>

#include "vantrel/base/Log.h"

namespace vantrel::tests {

/// Keeps the lines of the log as long as it lives; one thread.
class LogLines {
 public:
  /// Those since the last call.
  std::vector<std::string> take() { return std::exchange(lines_, {}); }

 private:
  std::vector<std::string> lines_;
  ScopedLogSink sink_{[this](std::string_view line) { lines_.emplace_back(line); }};
};

}  // namespace vantrel::tests
